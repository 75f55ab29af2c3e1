// The component's entry: the key check of Show, the module's screen instances, its error
// log and message boxes, and the C factory for plug-in hosts.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "entry/Plugin.h"
#include "entry/qorPayrollAccounts.h"

namespace {

using testsupport::ModuleTest;

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

class EntryTest : public ModuleTest {
protected:
    void setSession(entry::qorPayrollAccounts& c, const std::string& key) {
        c.setAdocon(trace);
        c.strProjectKey = key;
        c.MsgboxTitle = "Linking";
        c.ProcessDate = "01/11/2026";
        c.intUserID = 3;
        c.intCompanyID = 1;
        c.intInterfaceID = 60;
    }
};

TEST_F(EntryTest, ShowOpensTheBrowserOnlyForTheExactKey) {
    module->session = {};
    entry::qorPayrollAccounts component(*module);
    for (const char* wrong : {"ktnb/qm/wrld/417", "KTNB/QM/WRLD/417 ", "", "KTNB/QM/WRLD/41"}) {
        setSession(component, wrong);
        component.Show();
        EXPECT_EQ(toolkit.topForm(), nullptr) << wrong;
        EXPECT_EQ(module->session.userId, 0);
        EXPECT_FALSE(module->session.connection);
    }

    setSession(component, entry::kProjectKey);
    component.Show();
    ASSERT_NE(toolkit.topForm(), nullptr);
    EXPECT_EQ(toolkit.topForm()->name(), "FrmMaster");
    EXPECT_TRUE(toolkit.topForm()->shownModal);
    EXPECT_EQ(module->session.userId, 3);
    EXPECT_EQ(module->session.companyId, 1);
    EXPECT_EQ(module->session.interfaceId, 60);
    EXPECT_EQ(module->session.msgTitle, "Linking");
    EXPECT_EQ(module->session.processDate, "01/11/2026");
    EXPECT_EQ(module->session.connection, trace);

    // Closing unloads the browser; a wrong key later leaves the session as it was.
    ui::Form* first = toolkit.topForm();
    first->userClose();
    EXPECT_FALSE(module->isLoaded("FrmMaster"));
    setSession(component, "wrong");
    component.intUserID = 99;
    component.Show();
    EXPECT_EQ(module->session.userId, 3);

    // The next Show loads a fresh browser while the old object is still there.
    setSession(component, entry::kProjectKey);
    component.Show();
    EXPECT_NE(toolkit.topForm(), first);
    EXPECT_EQ(module->loadedForm("frmmaster"), toolkit.topForm());
    module->collect();
    EXPECT_EQ(toolkit.topForm()->name(), "FrmMaster");

    // adocon creates an unopened connection when read while empty.
    entry::qorPayrollAccounts bare(*module);
    auto c = bare.adocon();
    ASSERT_TRUE(c);
    EXPECT_EQ(bare.adocon(), c);
    EXPECT_FALSE(c->isOpen());
}

TEST_F(EntryTest, ScreensAreSingleInstancesLoadedOnFirstUse) {
    EXPECT_TRUE(module->loadedForms().empty());
    auto& master = module->FrmMaster();
    EXPECT_EQ(&module->FrmMaster(), &master);
    EXPECT_TRUE(master.loaded);
    ASSERT_EQ(toolkit.loadedForms().size(), 1u);
    EXPECT_EQ(master.flexMaster.cols(), 7) << "Form_Load ran and filled the grid";
    EXPECT_TRUE(master.unload());
    EXPECT_FALSE(master.loaded);
    EXPECT_TRUE(toolkit.loadedForms().empty());
    EXPECT_EQ(module->loadedForm("FrmMaster"), nullptr);
    EXPECT_EQ(master.name(), "FrmMaster") << "the unloaded object lives until collect";
    EXPECT_NE(&module->FrmMaster(), &master);
}

TEST_F(EntryTest, LogErrorWritesTheLineAndTellsTheUserWhenDue) {
    module->session.tables.pusers = "pusers";
    module->session.msgTitle = "Linking";
    module->LogError("frmJournalDetails  ", 3, "cmdOk_Click ", 5, "QORPayAccLinking", "Bad: value", "N",
                     true);
    std::string log = readFile(data::errorLogPath());
    EXPECT_EQ(log.rfind("frmJournalDetails  :QORPayAccLinking:5:QORPayAccLinking:Bad: value:", 0), 0u) << log;
    EXPECT_NE(log.find(":clerk:cmdOk_Click :N\r\n"), std::string::npos) << log;
    ASSERT_EQ(toolkit.messages.size(), 1u);
    EXPECT_EQ(toolkit.messages[0].request.text, "Bad: value");
    EXPECT_EQ(toolkit.messages[0].request.style, ui::vbOKOnly + ui::vbExclamation);
    EXPECT_EQ(toolkit.messages[0].request.title, "Linking");

    // Number 0, or no message wanted: the line only.
    module->LogError("frmJournalDetails ", 3, "cmdCancel_Click ", 0, "", "nothing", "E", true);
    module->LogError("frmJournalDetails ", 3, "cmdCancel_Click ", 9, "", "quiet", "E", false);
    EXPECT_EQ(toolkit.messages.size(), 1u);
    // The handlers' form: the session user and the module's entry mode.
    module->EntryMode = "E";
    module->LogError("Employeeexit", "Generateexitno", common::Error(13, "src", "Type mismatch"));
    log = readFile(data::errorLogPath());
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 4);
    EXPECT_NE(log.find("Employeeexit:QORPayAccLinking:13:src:Type mismatch:"), std::string::npos);
    EXPECT_NE(log.find(":admin:Generateexitno:E\r\n"), std::string::npos) << "session user 1";
    EXPECT_EQ(toolkit.messages.size(), 2u);

    // A failing user look-up leaves LogError uncaught, with no message.
    module->session.tables.pusers = "";
    EXPECT_THROW(module->LogError("x", 1, "p", 5, "s", "d", "N", true), common::Error);
    EXPECT_EQ(toolkit.messages.size(), 2u);
}

TEST_F(EntryTest, PluginFactoryRunsTheComponentForAHost) {
    EXPECT_EQ(QORPayAccLinking_Create(nullptr), nullptr);
    QORPayAccLinkingHandle* h = QORPayAccLinking_Create(&toolkit);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(QORPayAccLinking_OpenDatabase(h, tmp.file("missing.db").c_str()), -1);
    EXPECT_STRNE(QORPayAccLinking_LastError(h), "");
    EXPECT_EQ(QORPayAccLinking_OpenDatabase(h, dbPath.c_str()), 0);
    QORPayAccLinking_SetMsgboxTitle(h, "Host");
    QORPayAccLinking_SetProcessDate(h, "15/10/2026");
    QORPayAccLinking_SetUserID(h, 1);
    QORPayAccLinking_SetCompanyID(h, 1);
    QORPayAccLinking_SetInterfaceID(h, 60);

    QORPayAccLinking_SetProjectKey(h, "nope");
    EXPECT_EQ(QORPayAccLinking_Show(h), 0);
    EXPECT_TRUE(toolkit.transcript.empty());

    // The host's window loop: here the user closes the browser at once.
    std::string caption;
    toolkit.onModal = [&](ui::Form& f) {
        caption = f.caption();
        f.userClose();
    };
    QORPayAccLinking_SetProjectKey(h, entry::kProjectKey);
    EXPECT_EQ(QORPayAccLinking_Show(h), 0);
    EXPECT_EQ(caption, "Payroll Accounts Linking");
    EXPECT_EQ(toolkit.transcript,
              (std::vector<std::string>{"SHOW FrmMaster: Payroll Accounts Linking", "UNLOAD FrmMaster"}));

    QORPayAccLinking_Destroy(h);
}

}  // namespace

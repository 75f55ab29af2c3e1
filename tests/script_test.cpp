// The script runner on two small forms of the tests' own: commands, nesting of modal forms,
// the transcript, dumps and how a script fails.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "TestSupport.h"
#include "common/Error.h"
#include "script/ScriptRunner.h"
#include "ui/Form.h"
#include "ui/Headless.h"

namespace {

using namespace ui;

class ChildForm : public Form {
public:
    explicit ChildForm(Toolkit& tk) : Form(tk, "frmChild", "Child form") {
        cmdDone.Click = [this] { unload(); };
    }
    TextBox& txtNote = add<TextBox>("txtNote");
    CommandButton& cmdDone = add<CommandButton>("cmdDone", "&Done");
};

class MainForm : public Form {
public:
    MainForm(Toolkit& tk, ChildForm& child) : Form(tk, "frmMain", "Main form") {
        cboType.addItem("Payroll");
        cboType.addItem("Savings");
        lvwItems.addColumn("Sl No");
        lvwItems.addColumn("Name");
        lvwItems.setCell(lvwItems.add("1"), 1, "Apple");
        lvwItems.setCell(lvwItems.add("2"), 1, "Pear");
        grid.setTextMatrix(0, 0, "A");
        grid.setTextMatrix(0, 1, "B");
        grid.setTextMatrix(1, 0, "x");
        grid.setTextMatrix(1, 1, "y");
        cmdDisabled.setEnabled(false);
        cmdOpen.Click = [this, &child] {
            toolkit().showModal(child);
            afterChild = true;  // runs only once the child has gone
            txtName.setText(child.txtNote.text());
        };
        cmdAsk.Click = [this] {
            int a = toolkit().msgBox({"Continue?", vbYesNo + vbQuestion, "Test"});
            txtName.setText(a == vbYes ? "yes" : "no");
        };
        cmdFail.Click = [] { throw common::Error(5, "frmMain", "Invalid procedure call or argument"); };
        cboNote.Change = [this] { noteChanges += cboNote.text() + "|"; };
    }
    TextBox& txtName = add<TextBox>("txtName");
    ComboBox& cboType = add<ComboBox>("cboType", nullptr, ComboBox::Style::DropDownList);
    ComboBox& cboNote = add<ComboBox>("cboNote");
    CheckBox& chkFlag = add<CheckBox>("chkFlag", "Flag");
    ListView& lvwItems = add<ListView>("lvwItems");
    FlexGrid& grid = add<FlexGrid>("grid");
    DatePicker& dtpFrom = add<DatePicker>("dtpFrom");
    CommandButton& cmdOpen = add<CommandButton>("cmdOpen", "&Open");
    CommandButton& cmdAsk = add<CommandButton>("cmdAsk", "&Ask");
    CommandButton& cmdFail = add<CommandButton>("cmdFail", "&Fail");
    CommandButton& cmdDisabled = add<CommandButton>("cmdDisabled", "&Never");
    bool afterChild = false;
    bool unloadRan = false;
    std::string noteChanges;
    void Form_Unload(int&) override { unloadRan = true; }
};

struct Outcome {
    int status;
    std::string out;
    bool afterChild, unloadRan;
    std::string name, noteChanges;
};

// Runs a script on a fresh main form, as the host shows it.
Outcome run(const std::string& script) {
    HeadlessToolkit tk;
    ChildForm child(tk);
    MainForm main(tk, child);
    tk.formLoaded(main);
    tk.formLoaded(child);
    std::istringstream in(script);
    std::ostringstream out;
    script::ScriptRunner runner(tk, out);
    const int status = runner.run(in, [&] { tk.showModal(main); });
    return {status, out.str(), main.afterChild, main.unloadRan, main.txtName.text(), main.noteChanges};
}

TEST(ScriptTest, ModalFormsTakeTheLinesUntilTheyUnload) {
    Outcome r = run(R"(# a comment, then a blank line

expect frmMain "Main form"
set txtName Alice
expect txtName Alice
select cboType Savings
expect cboType.listindex 1
type cboNote Zoë😀
check chkFlag 1
click cmdOpen
expect frmMain.txtName Alice
type txtNote   hello there
click cmdDone
expect txtName "hello there"
answer Yes
click cmdAsk
expect-message Continue?
expect txtName yes
click cmdFail
expect chkFlag.value 1
expect cmdDisabled.enabled false
close
)");
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_EQ(r.out,
              "SHOW frmMain: Main form\n"
              "SHOW frmChild: Child form\n"
              "UNLOAD frmChild\n"
              "MSGBOX \"Test\" \"Continue?\" [Yes/No] -> Yes\n"
              "ERROR 5: Invalid procedure call or argument\n"
              "UNLOAD frmMain\n"
              "FAIL line 19: the command raised an error that no handler caught\n");
    EXPECT_TRUE(r.afterChild);
    EXPECT_TRUE(r.unloadRan);
    // An editable combo takes typed text a whole character at a time.
    EXPECT_EQ(r.noteChanges, "Z|Zo|Zoë|Zoë😀|");
}

TEST(ScriptTest, FailuresGiveTheLineNumberAndStopTheScript) {
    struct Case {
        std::string script;
        std::string lastLine;
    };
    const Case cases[] = {
        {"set txtName Alice\n\nclik cmdOpen\n", "FAIL line 3: unknown command 'clik'"},
        {"check chkFlag\n", "FAIL line 1: 'check' needs more words"},
        {"set txtName Alice\nexpect txtName Bob\nclick cmdOpen\n",
         "FAIL line 2: expect txtName: expected \"Bob\", got \"Alice\""},
        {"click cmdMissing\n", "FAIL line 1: no control cmdMissing on frmMain"},
        {"expect frmNone.txtName x\n", "FAIL line 1: no form frmNone is loaded"},
        {"tick lvwItems 3\n", "FAIL line 1: row 3 out of range (lvwItems has 2 rows)"},
        {"row grid 2\n", "FAIL line 1: row 2 out of range (grid has data rows 1 to 1)"},
        {"click cmdDisabled\n", "FAIL line 1: cmdDisabled is disabled"},
        {"# asks with no answer\nclick cmdAsk\n", "FAIL line 2: no answer for the message box \"Continue?\""},
        {"close\nclick cmdOpen\n", "FAIL line 2: no form is open (for cmdOpen)"},
        {"\xEF\xBB\xBFset txtName Alice\nexpect txtName.colour red\n", "FAIL line 2: no property colour"},
        {"set dtpFrom 2026-10-15\n", "FAIL line 1: '2026-10-15' is not a date (dd/MM/yyyy)"},
        {"set dtpFrom 31/09/2026\n", "FAIL line 1: '31/09/2026' is not a date (dd/MM/yyyy)"},
        {"set txtName x\nclick" + std::string(100, 'k') + " cmdOpen\n",
         "FAIL line 2: unknown command 'click" + std::string(75, 'k') + "...'"},
    };
    for (const Case& c : cases) {
        const Outcome r = run(c.script);
        EXPECT_EQ(r.status, 1) << c.script;
        ASSERT_FALSE(r.out.empty());
        EXPECT_EQ(r.out.substr(r.out.rfind('\n', r.out.size() - 2) + 1), c.lastLine + "\n") << c.script;
        EXPECT_FALSE(r.afterChild) << "nothing runs after the failing line: " << c.script;
    }
    // A malformed script runs nothing at all.
    Outcome r = run("set txtName Alice\nfrobnicate\n");
    EXPECT_EQ(r.out, "FAIL line 2: unknown command 'frobnicate'\n");
    EXPECT_EQ(r.name, "");
}

}  // namespace

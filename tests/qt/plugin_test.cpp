// The component loaded from its shared library as a host loads it: by file name, through the
// C factory, with the library's own Qt toolkit.
#include "entry/Plugin.h"

#include <dlfcn.h>

#include <QTableView>

#include "gui_support.h"

namespace guitest {
namespace {

// The header's own handle type: a call through a pointer of another type is undefined.
using Handle = QORPayAccLinkingHandle;

template <class F>
F* symbol(void* lib, const std::string& name) {
    auto* f = reinterpret_cast<F*>(dlsym(lib, ("QORPayAccLinking_" + name).c_str()));
    EXPECT_NE(f, nullptr) << name;
    return f;
}

TEST_F(GuiTest, HostLoadsTheLibraryAndShowsTheBrowserUntilItsUserClosesIt) {
    void* lib = dlopen(PAYACC_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto createToolkit = symbol<ui::Toolkit*()>(lib, "CreateQtToolkit");
    auto destroyToolkit = symbol<void(ui::Toolkit*)>(lib, "DestroyQtToolkit");
    auto create = symbol<Handle*(ui::Toolkit*)>(lib, "Create");
    auto destroy = symbol<void(Handle*)>(lib, "Destroy");
    auto openDatabase = symbol<int32_t(Handle*, const char*)>(lib, "OpenDatabase");
    auto show = symbol<int32_t(Handle*)>(lib, "Show");
    auto lastError = symbol<const char*(Handle*)>(lib, "LastError");
    ASSERT_FALSE(HasFailure());

    ui::Toolkit* hostToolkit = createToolkit();
    ASSERT_NE(hostToolkit, nullptr);
    EXPECT_EQ(create(nullptr), nullptr);
    Handle* h = create(hostToolkit);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(openDatabase(h, tmp.file("missing/none.db").c_str()), -1);
    EXPECT_STRNE(lastError(h), "");
    ASSERT_EQ(openDatabase(h, session->dbPath.c_str()), 0);
    for (auto [name, text] : {std::pair{"SetProjectKey", "KTNB/QM/WRLD/417"},
                              {"SetMsgboxTitle", "Host Title"},
                              {"SetProcessDate", "15/10/2026"}})
        if (auto set = symbol<void(Handle*, const char*)>(lib, name)) set(h, text);
    for (auto [name, number] : {std::pair{"SetUserID", 1}, {"SetCompanyID", 1}, {"SetInterfaceID", 60}})
        if (auto set = symbol<void(Handle*, int32_t)>(lib, name)) set(h, number);

    // The browser shows until the host's user closes it.
    int gridRows = -1;
    QString title;
    whenShown("FrmMaster", [&](QWidget& browser) {
        title = browser.windowTitle();
        if (auto* grid = browser.findChild<QTableView*>("flexMaster")) gridRows = grid->model()->rowCount();
        QTest::mouseClick(browser.findChild<QPushButton*>("CmdClose"), Qt::LeftButton);
    });
    QObject watchdog;  // its timer goes with it
    QTimer::singleShot(30000, &watchdog, [] {
        if (QWidget* browser = visible("FrmMaster")) {
            ADD_FAILURE() << "the browser stayed open";
            browser->close();
        }
    });
    EXPECT_EQ(show(h), 0) << lastError(h);
    EXPECT_EQ(title.toStdString(), "Payroll Accounts Linking");
    EXPECT_GT(gridRows, 0);
    EXPECT_EQ(visible("FrmMaster"), nullptr);

    destroy(h);
    destroyToolkit(hostToolkit);
    dlclose(lib);
}

}  // namespace
}  // namespace guitest

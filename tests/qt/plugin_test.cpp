// The component loaded from its shared library as a host loads it: by file name, through the
// C factory, with the library's own Qt toolkit.
#include <dlfcn.h>

#include <QPushButton>
#include <QTableView>

#include "gui_support.h"

#ifndef PAYACC_PLUGIN_FILE
#error "the build gives the shared library's path"
#endif

namespace guitest {
namespace {

struct Handle;
struct Plugin {
    void* lib = nullptr;
    ui::Toolkit* (*createToolkit)() = nullptr;
    void (*destroyToolkit)(ui::Toolkit*) = nullptr;
    Handle* (*create)(ui::Toolkit*) = nullptr;
    void (*destroy)(Handle*) = nullptr;
    int32_t (*openDatabase)(Handle*, const char*) = nullptr;
    void (*setText[3])(Handle*, const char*) = {};  // key, title, date
    void (*setNumber[3])(Handle*, int32_t) = {};    // user, company, interface
    int32_t (*show)(Handle*) = nullptr;
    const char* (*lastError)(Handle*) = nullptr;

    template <class F>
    void get(F& f, const char* name) {
        f = reinterpret_cast<F>(dlsym(lib, name));
        EXPECT_NE(f, nullptr) << name;
    }
};

TEST(PluginTest, HostLoadsTheLibraryAndShowsTheBrowserOnlyForTheRightKey) {
    app();
    testsupport::TempDir tmp;
    const std::string db = tmp.file("host.db");
    std::filesystem::copy_file(testsupport::demoTemplate(), db);

    Plugin p;
    p.lib = dlopen(PAYACC_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(p.lib, nullptr) << dlerror();
    p.get(p.createToolkit, "QORPayAccLinking_CreateQtToolkit");
    p.get(p.destroyToolkit, "QORPayAccLinking_DestroyQtToolkit");
    p.get(p.create, "QORPayAccLinking_Create");
    p.get(p.destroy, "QORPayAccLinking_Destroy");
    p.get(p.openDatabase, "QORPayAccLinking_OpenDatabase");
    p.get(p.setText[0], "QORPayAccLinking_SetProjectKey");
    p.get(p.setText[1], "QORPayAccLinking_SetMsgboxTitle");
    p.get(p.setText[2], "QORPayAccLinking_SetProcessDate");
    p.get(p.setNumber[0], "QORPayAccLinking_SetUserID");
    p.get(p.setNumber[1], "QORPayAccLinking_SetCompanyID");
    p.get(p.setNumber[2], "QORPayAccLinking_SetInterfaceID");
    p.get(p.show, "QORPayAccLinking_Show");
    p.get(p.lastError, "QORPayAccLinking_LastError");
    ASSERT_FALSE(testing::Test::HasFailure());

    ui::Toolkit* toolkit = p.createToolkit();
    ASSERT_NE(toolkit, nullptr);
    EXPECT_EQ(p.create(nullptr), nullptr);
    Handle* h = p.create(toolkit);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(p.openDatabase(h, tmp.file("missing/none.db").c_str()), -1);
    EXPECT_STRNE(p.lastError(h), "");
    ASSERT_EQ(p.openDatabase(h, db.c_str()), 0);
    p.setText[1](h, "Host Title");
    p.setText[2](h, "15/10/2026");
    p.setNumber[0](h, 1);
    p.setNumber[1](h, 1);
    p.setNumber[2](h, 60);

    // Which window the library shows, and what its grid holds.
    auto shownBrowser = []() -> QWidget* {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w->objectName() == "FrmMaster" && w->isVisible()) return w;
        return nullptr;
    };

    // A wrong key returns at once and shows nothing.
    p.setText[0](h, "NOT/THE/KEY");
    bool shownForWrongKey = false;
    QTimer::singleShot(0, [&] { shownForWrongKey = shownBrowser() != nullptr; });
    EXPECT_EQ(p.show(h), 0);
    QCoreApplication::processEvents();
    EXPECT_FALSE(shownForWrongKey);

    // The right key shows the browser until the host's user closes it.
    p.setText[0](h, "KTNB/QM/WRLD/417");
    int gridRows = -1;
    QString title;
    QTimer::singleShot(0, [&] {
        QWidget* browser = shownBrowser();
        if (browser == nullptr) {
            ADD_FAILURE() << "no browser window";
            return;
        }
        title = browser->windowTitle();
        if (auto* grid = browser->findChild<QTableView*>("flexMaster")) gridRows = grid->model()->rowCount();
        QTest::mouseClick(browser->findChild<QPushButton*>("CmdClose"), Qt::LeftButton);
    });
    QTimer watchdog;
    watchdog.setSingleShot(true);
    QObject::connect(&watchdog, &QTimer::timeout, [&] {
        if (QWidget* browser = shownBrowser()) {
            ADD_FAILURE() << "the browser stayed open";
            browser->close();
        }
    });
    watchdog.start(30000);
    EXPECT_EQ(p.show(h), 0) << p.lastError(h);
    watchdog.stop();
    EXPECT_EQ(title.toStdString(), "Payroll Accounts Linking");
    EXPECT_GT(gridRows, 0);
    EXPECT_EQ(shownBrowser(), nullptr);

    p.destroy(h);
    p.destroyToolkit(toolkit);
    dlclose(p.lib);
}

}  // namespace
}  // namespace guitest

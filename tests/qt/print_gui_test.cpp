// Print in the window: the browser's Print button opens the print preview of the selected
// entry's voucher, and stays disabled for a user without the Print right.
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPushButton>

#include "browser/FrmMaster.h"
#include "gui_support.h"

namespace guitest {
namespace {

using PrintGuiTest = GuiTest;

TEST_F(PrintGuiTest, PrintOpensThePreviewOfTheSelectedEntryOnlyWithTheRight) {
    for (int32_t user : {1, 3}) {
        SCOPED_TRACE(user);
        module = std::make_unique<entry::Module>(toolkit);
        module->session.connection = raw;
        module->session.userId = user;
        module->session.companyId = 1;
        module->session.interfaceId = 60;
        module->session.msgTitle = "Payroll Accounts Linking";
        module->session.processDate = "15/10/2026";
        browser::FrmMaster& master = module->FrmMaster();
        QString title;
        int pages = 0;
        showModal(master, [&](qtui::FormDialog& d) {
            int row = 1;
            while (row < master.flexMaster.rows() && master.flexMaster.textMatrix(row, 1) != "PAL/2") ++row;
            master.flexMaster.userSelectCell(row, 1);
            d.binder().flush();
            auto* print = widget<QPushButton>(d, "cmdPrint");
            EXPECT_EQ(print->isEnabled(), user == 1);
            if (user == 1) {
                whenReady(
                    [] {
                        return qobject_cast<QPrintPreviewDialog*>(QApplication::activeModalWidget()) !=
                               nullptr;
                    },
                    [&] {
                        auto* preview = qobject_cast<QPrintPreviewDialog*>(QApplication::activeModalWidget());
                        title = preview->windowTitle();
                        auto* view = preview->findChild<QPrintPreviewWidget*>();
                        waitFor([&] { return view != nullptr && view->pageCount() > 0; });
                        pages = view != nullptr ? view->pageCount() : 0;
                        preview->reject();
                    });
            }
            QTest::mouseClick(print, Qt::LeftButton);
            master.CmdClose.userClick();
        });
        if (user == 1) {
            EXPECT_EQ(title, "Journal Voucher PAL/2");
            EXPECT_EQ(pages, 1);
        } else {
            EXPECT_TRUE(title.isEmpty());
        }
    }
}

}  // namespace
}  // namespace guitest

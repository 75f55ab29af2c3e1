// Print in the window: the browser's Print button opens the print preview of the selected
// entry's voucher, and stays disabled for a user without the Print right.
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>

#include "browser/FrmMaster.h"
#include "gui_support.h"

namespace guitest {
namespace {

TEST_F(GuiTest, PrintOpensThePreviewOfTheSelectedEntryOnlyWithTheRight) {
    for (int32_t user : {1, 3}) {
        SCOPED_TRACE(user);
        reopenAs(user);
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
            auto preview = [] {
                return qobject_cast<QPrintPreviewDialog*>(QApplication::activeModalWidget());
            };
            if (user == 1)
                whenReady([&] { return preview() != nullptr; },
                          [&] {
                              title = preview()->windowTitle();
                              auto* view = preview()->findChild<QPrintPreviewWidget*>();
                              waitFor([&] { return view != nullptr && view->pageCount() > 0; });
                              pages = view != nullptr ? view->pageCount() : 0;
                              preview()->reject();
                          });
            QTest::mouseClick(print, Qt::LeftButton);
            master.CmdClose.userClick();
        });
        EXPECT_EQ(title, user == 1 ? "Journal Voucher PAL/2" : "");
        EXPECT_EQ(pages, user == 1 ? 1 : 0);
    }
}

}  // namespace
}  // namespace guitest

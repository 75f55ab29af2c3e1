// The browser in real widgets, keyboard first: Enter and a double click open an entry and
// nothing else, the shortcuts fire, headings sort with the selection staying on its entry, a
// search that finds nothing says so, the print preview names its PDF without a '/', "Month
// status..." opens New filled in from an open cell, and "Post all departments..." previews
// before it posts and sums up in a table to copy, print and save. Print and posting follow the
// user's rights; the window opens the size it was closed with.
#include <QClipboard>
#include <QComboBox>
#include <QDateEdit>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <QStatusBar>
#include <QTableView>
#include <QTableWidget>

#include "browser/FrmMaster.h"
#include "gui_support.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "qt/Presentation.h"

namespace guitest {
namespace {

class BrowserGuiTest : public GuiTest {
protected:
    int entries() {
        return session->raw->open("select count(*) from paPayAccLinkHeader")->field(0).toInt32();
    }
    std::string cancelled(const std::string& no) {
        auto rs = session->raw->open(
            "select Cancelled, cancelremarks from paPayAccLinkHeader where TransNo='" + no + "'");
        return rs->field(0).joinText() + "|" + rs->field(1).joinText();
    }
    // Selects the entry's row by clicking it, as a user does.
    QModelIndex select(QTableView* grid, const std::string& no) {
        auto& g = module->FrmMaster().flexMaster;
        for (int r = 1; r < g.rows(); ++r)
            if (g.textMatrix(r, 1) == no) {
                const QModelIndex index = grid->model()->index(r - 1, 1);
                QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, grid->visualRect(index).center());
                return index;
            }
        ADD_FAILURE() << "no entry " << no;
        return {};
    }
    std::string selectedNo() {
        auto& g = module->FrmMaster().flexMaster;
        return g.textMatrix(g.row(), 1);
    }
    // Runs drive in the linking screen once it shows, then leaves it with Escape.
    void inLinkingScreen(std::string* shownNo, const std::function<void(QWidget&)>& drive = {}) {
        whenShown("frmPayrollAccountsLinking", [this, shownNo, drive](QWidget& d) {
            if (shownNo != nullptr) *shownNo = module->frmPayrollAccountsLinking().txtTransNo.text();
            waitActive(d);
            if (drive) drive(d);
            keyIn(d, Qt::Key_Escape);
        });
    }
};

TEST_F(BrowserGuiTest, KeysOpenEntriesNeverPostSortFollowsTheEntryAndPostingPreviewsFirst) {
    auto& master = module->FrmMaster();
    const int before = entries();
    const QString csv = QString::fromStdString(tmp.file("october.csv"));
    QSize closedWith;
    showModal(master, [&](qtui::FormDialog& window) {
        auto* grid = widget<QTableView>(window, "flexMaster");
        for (auto* b : window.findChildren<QPushButton*>())
            EXPECT_FALSE(b->isDefault() || b->autoDefault()) << b->objectName().toStdString();

        // Enter on a row opens that entry as Edit does; Enter in it moves on, Escape leaves:
        // two Enters save nothing. A double click opens an entry too.
        std::string opened;
        select(grid, "PAL/3");
        inLinkingScreen(&opened, [](QWidget& d) { keyIn(d, Qt::Key_Return); });
        QTest::keyClick(grid, Qt::Key_Return);
        EXPECT_EQ(opened, "PAL/3");
        inLinkingScreen(&opened);
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {},
                           grid->visualRect(select(grid, "PAL/5")).center());
        EXPECT_EQ(opened, "PAL/5");
        EXPECT_FALSE(module->isLoaded("frmPayrollAccountsLinking"));

        // A shortcut to a field takes the focus (Ctrl+F, the search), one to a button clicks it
        // (Ctrl+P previews the entry, whose PDF takes a file name without '/').
        waitActive(window);
        QTest::keyClick(grid, Qt::Key_F, Qt::ControlModifier);
        EXPECT_EQ(window.focusWidget(), widget<QLineEdit>(window, "txtsearch"));
        QString pdfName;
        whenShown<QPrintPreviewDialog>({}, [&](QPrintPreviewDialog& preview) {
            pdfName = preview.printer()->docName();
            preview.reject();
        });
        QTest::keyClick(grid, Qt::Key_P, Qt::ControlModifier);
        EXPECT_EQ(pdfName, "PAL-5");
        EXPECT_TRUE(waitActive(window));
        EXPECT_EQ(entries(), before);

        // A heading sorts, entry numbers in natural order, a second click turns the order round;
        // the selection stays on its entry.
        select(grid, "PAL/2");
        QHeaderView* header = grid->horizontalHeader();
        for (Qt::SortOrder order : {Qt::AscendingOrder, Qt::DescendingOrder}) {
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              QPoint(header->sectionViewportPosition(1) + 5, header->height() / 2));
            EXPECT_EQ(header->sortIndicatorOrder(), order);
            EXPECT_EQ(selectedNo(), "PAL/2");
            window.binder().flush();
            EXPECT_EQ(grid->currentIndex().row() + 1, master.flexMaster.row());
        }
        EXPECT_EQ(master.flexMaster.textMatrix(1, 1), "PAL/5");

        // A search that finds nothing says so.
        master.cboSearch.userSelectText("Type");
        QTest::keyClicks(widget<QLineEdit>(window, "txtsearch"), "zz");
        EXPECT_TRUE(
            waitFor([&] { return window.presentation().statusLine()->currentMessage().contains("zz"); }));

        // Month status: the grid of types by departments; a double click on an open cell brings up
        // New with its runs listed.
        QString administration;
        std::string linked;
        whenShown("MonthStatus", [&](QWidget& d) {
            auto* month = d.findChild<QTableWidget*>("grid");
            d.findChild<QDateEdit*>("month")->setDate(QDate(2026, 10, 1));
            int column = 0;
            while (column < month->columnCount() &&
                   month->horizontalHeaderItem(column)->text() != "Administration")
                ++column;
            administration = month->item(0, column)->text();
            whenShown<qtui::FormDialog>("frmPayrollAccountsLinking", [&](qtui::FormDialog& linking) {
                auto& f = module->frmPayrollAccountsLinking();
                linked = f.cboType.text() + "|" + f.cboDepartment.text() + "|" +
                         std::to_string(f.lvwTransactions.count());
                QTest::mouseClick(widget<QPushButton>(linking, "cmdClose"), Qt::LeftButton);
            });
            const QRect cell = month->visualItemRect(month->item(0, column));
            QTest::mouseClick(month->viewport(), Qt::LeftButton, {}, cell.center());
            QTest::mouseDClick(month->viewport(), Qt::LeftButton, {}, cell.center());
            static_cast<QDialog&>(d).reject();
        });
        widget<QPushButton>(window, "cmdMonthStatus")->click();
        EXPECT_TRUE(administration.startsWith("30 open\n")) << administration.toStdString();
        EXPECT_EQ(linked, "Payroll|Administration|30");

        // A reason typed into the cancellation is stored as typed, and Delete is off at once.
        select(grid, "PAL/3");
        answerNextBox(QMessageBox::Yes);
        whenShown("frmcancell", [](QWidget& d) {
            waitActive(d);  // keys reach a window once it has the keyboard
            QTest::keyClicks(d.findChild<QLineEdit*>("txtreason"), "Entry's twin");
            QTest::mouseClick(d.findChild<QPushButton*>("cmdok"), Qt::LeftButton);
        });
        QTest::mouseClick(widget<QPushButton>(window, "CmdDelete"), Qt::LeftButton);
        EXPECT_EQ(cancelled("PAL/3"), "1|Entry's twin");
        EXPECT_FALSE(widget<QPushButton>(window, "CmdDelete")->isEnabled());

        // Post all: Enter in a field previews and writes nothing; the previewed numbers follow
        // each other; a change wants a new preview; only the explicit button posts.
        QString previewNumbers, copied, summary;
        whenShown("PostAllDepartments", [&](QWidget& d) {
            d.findChild<QComboBox*>("type")->setCurrentText("Payroll");
            d.findChild<QDateEdit*>("from")->setDate(QDate(2026, 10, 1));
            d.findChild<QDateEdit*>("to")->setDate(QDate(2026, 10, 31));
            auto* remarks = d.findChild<QLineEdit*>("remarks");
            auto* post = d.findChild<QPushButton*>("post");
            QTest::keyClick(remarks, Qt::Key_Return);
            EXPECT_EQ(entries(), before);
            EXPECT_EQ(post->text(), "&Post 5 entries");
            EXPECT_TRUE(post->isEnabled() && !post->isDefault() && !post->autoDefault());
            auto* table = d.findChild<QTableWidget*>("outcomes");
            for (int r = 0; r < table->rowCount(); ++r)
                if (table->item(r, 1)->text().startsWith("PAL"))
                    previewNumbers += table->item(r, 1)->text() + " ";
            QTest::keyClicks(remarks, "October payroll");
            EXPECT_FALSE(post->isEnabled());
            QTest::keyClick(remarks, Qt::Key_Return);
            post->click();
        });
        whenShown("PostAllSummary", [&](QWidget& d) {
            summary = d.findChild<QLabel*>("counts")->text();
            d.findChild<QPushButton*>("copy")->click();
            copied = QApplication::clipboard()->text();
            whenShown<QFileDialog>("saveSummary", [&](QFileDialog& files) {
                // The whole path typed into the name box and Enter, as a user may save it.
                auto* name = files.findChild<QLineEdit*>("fileNameEdit");
                ASSERT_NE(name, nullptr);
                name->setText(csv);
                QTest::keyClick(name, Qt::Key_Return);
            });
            d.findChild<QPushButton*>("saveCsv")->click();
            int pages = 0;
            whenShown<QPrintPreviewDialog>("PostAllPrint", [&](QPrintPreviewDialog& preview) {
                auto* view = preview.findChild<QPrintPreviewWidget*>();
                waitFor([&] { return view->pageCount() > 0; });
                pages = view->pageCount();
                preview.reject();
            });
            d.findChild<QPushButton*>("print")->click();
            EXPECT_EQ(pages, 1);
            d.findChild<QPushButton*>("close")->click();
        });
        widget<QPushButton>(window, "cmdPostAll")->click();
        closedWith = window.size() - QSize(0, 30);
        window.resize(closedWith);
        EXPECT_EQ(previewNumbers.simplified(), "PAL/6 PAL/7 PAL/8 PAL/9 PAL/10");
        EXPECT_EQ(summary, "5 department(s): 5 posted, 0 with nothing to post, 0 not posted");
        EXPECT_TRUE(copied.contains("Engineering Centre Pune\tPAL/7\t60\t4\tINR\t7,956,000.00\t7,956,000.00"))
            << copied.toStdString();
        widget<QPushButton>(window, "CmdClose")->click();
    });
    EXPECT_EQ(entries(), before + 5);
    EXPECT_NE(testsupport::slurp(csv.toStdString())
                  .find("Engineering Centre Pune,PAL/7,60,4,INR,7956000.00,7956000.00,\r\n"),
              std::string::npos);

    // A user without the New and Print rights can neither post nor print.
    module.reset();
    session->reopen(toolkit);
    module = std::move(session->module);
    module->session.userId = 4;
    showModal(module->FrmMaster(), [&](qtui::FormDialog& window) {
        EXPECT_EQ(window.size(), closedWith);
        EXPECT_FALSE(widget<QPushButton>(window, "cmdPostAll")->isEnabled());
        EXPECT_FALSE(widget<QPushButton>(window, "cmdPrint")->isEnabled());
        widget<QPushButton>(window, "CmdClose")->click();
    });
}

}  // namespace
}  // namespace guitest

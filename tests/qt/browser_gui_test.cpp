// The browser's "Post all departments..." in real widgets: Enter in a field previews and writes
// nothing, a change wants a new preview, only the explicit button posts, and the summary
// counts what was posted.
#include <QComboBox>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QTableWidget>

#include "browser/FrmMaster.h"
#include "gui_support.h"

namespace guitest {
namespace {

TEST_F(GuiTest, PostAllPreviewsFirstAndPostsOnlyFromItsButton) {
    auto entries = [&] {
        return session->raw->open("select count(*) from paPayAccLinkHeader")->field(0).toInt32();
    };
    const int before = entries();
    QString previewNumbers, summary;
    showModal(module->FrmMaster(), [&](qtui::FormDialog& window) {
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
            d.findChild<QPushButton*>("close")->click();
        });
        widget<QPushButton>(window, "cmdPostAll")->click();
        widget<QPushButton>(window, "CmdClose")->click();
    });
    EXPECT_EQ(previewNumbers.simplified(), "PAL/6 PAL/7 PAL/8 PAL/9 PAL/10");
    EXPECT_EQ(summary, "5 department(s): 5 posted, 0 with nothing to post, 0 not posted");
    EXPECT_EQ(entries(), before + 5);
}

}  // namespace
}  // namespace guitest

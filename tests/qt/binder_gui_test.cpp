// The binder: every control of the screens finds its widget in the Designer layouts; on a form of its own, a
// big list and grid fill through batched resets, and the views follow the models' selection, colours and
// headers.
#include <QLabel>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTreeView>
#include <QVBoxLayout>
#include <initializer_list>

#include "browser/FrmMaster.h"
#include "common/Error.h"
#include "gui_support.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmcancell.h"

namespace guitest {
namespace {

TEST_F(GuiTest, LayoutsCarryEveryControlOfTheScreens) {
    browser::FrmMaster master(*module);
    linking::frmPayrollAccountsLinking linkingForm(*module);
    linking::frmcancell cancelForm(*module);
    journal::frmJournalDetails journalForm(*module);
    for (ui::Form* form :
         std::initializer_list<ui::Form*>{&master, &linkingForm, &cancelForm, &journalForm}) {
        qtui::FormDialog dialog(*form, nullptr);
        EXPECT_EQ(dialog.windowTitle().toStdString(), form->caption());
        EXPECT_TRUE(dialog.binder().unboundControls().isEmpty())
            << form->name() << ": " << dialog.binder().unboundControls().join(", ").toStdString();
    }
}

class BigForm : public ui::Form {
public:
    explicit BigForm(ui::Toolkit& t) : ui::Form(t, "BigForm", "Big") {}
    ui::Label& lblTitle = add<ui::Label>("lblTitle", "&Entries");
    ui::ListView& lvwBig = add<ui::ListView>("lvwBig");
    ui::FlexGrid& flexBig = add<ui::FlexGrid>("flexBig");
    ui::OptionButton& optDebit = add<ui::OptionButton>("optDebit", "&Debit");
    ui::OptionButton& optCredit = add<ui::OptionButton>("optCredit", "C&redit");
};

TEST_F(GuiTest, BigListAndGridFillInOneResetAndShowWhatTheModelsHold) {
    BigForm form(toolkit);
    QWidget root;
    auto* layout = new QVBoxLayout(&root);
    auto add = [layout](auto* w, const char* name) {
        w->setObjectName(name), layout->addWidget(w);
        return w;
    };
    auto* label = add(new QLabel, "lblTitle");
    auto* tree = add(new QTreeView, "lvwBig");
    auto* table = add(new QTableView, "flexBig");
    auto* debit = add(new QRadioButton, "optDebit");
    auto* credit = add(new QRadioButton, "optCredit");
    qtui::Binder binder(form, &root);
    // Option buttons show the side the model holds.
    for (ui::OptionButton* side : {&form.optCredit, &form.optDebit}) {
        side->setValue(true);
        QCoreApplication::processEvents();
        EXPECT_EQ(debit->isChecked(), form.optDebit.value());
        EXPECT_EQ(credit->isChecked(), form.optCredit.value());
        EXPECT_TRUE(side->value());
    }
    // A label without a buddy would show the ampersand itself.
    EXPECT_EQ(label->text().toStdString(), "Entries");

    form.lvwBig.addColumn("Sl No");
    form.lvwBig.addColumn("Name", 3000);
    form.lvwBig.addColumn("Key", 0);
    QCoreApplication::processEvents();
    QSignalSpy listResets(tree->model(), &QAbstractItemModel::modelReset);
    constexpr int kRows = 40000;
    for (int r = 1; r <= kRows; ++r) {
        form.lvwBig.add(std::to_string(r));
        form.lvwBig.setCell(r, 1, "Employee " + std::to_string(r));
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(listResets.count(), 1);
    ASSERT_EQ(tree->model()->rowCount(), kRows);
    EXPECT_EQ(tree->model()->index(kRows - 1, 1).data().toString().toStdString(), "Employee 40000");
    EXPECT_TRUE(tree->isColumnHidden(2));

    // A cell set from code shows at once, without another reset.
    form.lvwBig.setCell(7, 1, "Renamed");
    EXPECT_EQ(tree->model()->index(6, 1).data().toString().toStdString(), "Renamed");
    EXPECT_EQ(listResets.count(), 1);
    // The selection from code becomes the view's current row.
    form.lvwBig.setSelectedIndex(kRows);
    EXPECT_EQ(tree->currentIndex().row(), kRows - 1);
    // Rows removed while the view has not caught up read as empty, not as an error.
    form.lvwBig.clear();
    EXPECT_FALSE(tree->model()->index(kRows - 1, 1).data().isValid());
    QCoreApplication::processEvents();
    EXPECT_EQ(tree->model()->rowCount(), 0);

    // The grid fills in one go too, row 0 its header.
    std::vector<std::vector<std::string>> data;
    for (int r = 1; r <= kRows; ++r) data.push_back({std::to_string(r), "PAL/" + std::to_string(r), "No"});
    form.flexBig.setCols(3);
    form.flexBig.setTextMatrix(0, 1, "Entry No");
    form.flexBig.setData(std::move(data));
    QCoreApplication::processEvents();
    QAbstractItemModel* grid = table->model();
    ASSERT_EQ(grid->rowCount(), kRows);
    EXPECT_EQ(grid->headerData(1, Qt::Horizontal).toString().toStdString(), "Entry No");

    // An error that the handler does not catch stops at the event and is shown.
    form.flexBig.DblClick = [] { common::raise(5, "BigForm", "Invalid procedure call or argument"); };
    QString seen;
    whenShown<QMessageBox>({}, [&](QMessageBox& box) {
        seen = box.icon() == QMessageBox::Critical ? box.text() : "not critical";
        box.accept();
    });
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(grid->index(0, 0)).center());
    EXPECT_EQ(seen.toStdString(), "Run-time error '5':\n\nInvalid procedure call or argument");

    // Once the form is unloaded the views no longer read its models.
    binder.detach();
    EXPECT_EQ(tree->model(), nullptr);
    EXPECT_EQ(table->model(), nullptr);
}

}  // namespace
}  // namespace guitest

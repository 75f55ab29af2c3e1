#include "qt/BrowserGrid.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QTableView>
#include <QTimer>

#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "qt/Presentation.h"
#include "qt/QtToolkit.h"

namespace qtui {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }

}  // namespace

BrowserGrid::BrowserGrid(FormDialog& dialog, browser::FrmMaster& master)
    : QObject(&dialog), dialog_(dialog), master_(master) {
    if (auto* table = dialog.findChild<QTableView*>("flexMaster")) {
        header_ = table->horizontalHeader();
        header_->setSectionsClickable(true);
        connect(header_, &QHeaderView::sectionClicked, this, &BrowserGrid::sortBy);
        // The view only shows the order: the rows stay in the grid's own order.
        table->setSortingEnabled(false);
    }
    search_ = dialog.findChild<QLineEdit*>("txtsearch");
    gridListener_ = master.flexMaster.addListener([this](ui::Control&, ui::Change change, int, int) {
        if (change == ui::Change::Sort || change == ui::Change::Rows || change == ui::Change::Selection)
            showOrder();
    });
    // The search runs as the key is released, after the text has changed: look once it is done.
    searchListener_ = master.txtsearch.addListener([this](ui::Control&, ui::Change change, int, int) {
        if (change != ui::Change::Text || searchPending_) return;
        searchPending_ = true;
        QTimer::singleShot(0, this, [this] {
            searchPending_ = false;
            searched();
        });
    });
    showOrder();
}

BrowserGrid::~BrowserGrid() { detach(); }

void BrowserGrid::detach() {
    if (detached_) return;
    detached_ = true;
    master_.flexMaster.removeListener(gridListener_);
    master_.txtsearch.removeListener(searchListener_);
}

void BrowserGrid::sortBy(int section) {
    if (detached_) return;
    ui::ComboBox& columns = master_.cboColNames;
    int item = -1;
    for (int i = 0; i < columns.listCount() && item < 0; ++i)
        if (columns.itemData(i) == section) item = i;
    if (item < 0 || !columns.reachable()) {
        dialog_.presentation().note(tr("The list cannot be sorted by this column."));
        showOrder();
        return;
    }
    // A second click on the column the rows are sorted by turns the order round. (The screen
    // sorts a date column through the entry numbers.)
    const int sorted = common::ContainsNoCase(columns.list(item), "date") ? 1 : section;
    const bool ascending = !(master_.flexMaster.sortedCol() == sorted &&
                             master_.flexMaster.sortedBy() == ui::FlexGrid::flexSortGenericAscending);
    master_.userEvent([&] {
        // Either button clears the column choice, so choosing the column sorts again.
        (ascending ? master_.optAscend : master_.optDescend).setValue(true);
        columns.setListIndex(-1);
        columns.setListIndex(item);
    });
    showOrder();
}

void BrowserGrid::showOrder() {
    if (detached_ || header_ == nullptr) return;
    const ui::FlexGrid& grid = master_.flexMaster;
    const bool ascending = grid.sortedBy() == ui::FlexGrid::flexSortGenericAscending;
    const bool descending = grid.sortedBy() == ui::FlexGrid::flexSortGenericDescending;
    header_->setSortIndicatorShown(ascending || descending);
    if (ascending || descending)
        header_->setSortIndicator(grid.sortedCol(), ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
}

void BrowserGrid::searched() {
    if (detached_ || search_ == nullptr) return;
    const std::string text = common::Trim(master_.txtsearch.text());
    QString why;
    if (!text.empty() && master_.lastSearchMatch() == 0) {
        const int item = master_.cboSearch.listIndex();
        why = tr("No entry's %1 begins with \"%2\".")
                  .arg(item >= 0 ? qs(master_.cboSearch.list(item)) : tr("column"), qs(text));
    } else if (!text.empty() && master_.cboSearch.listIndex() < 0) {
        why = tr("Choose the column to search in under Search On.");
    }
    // The box says it too, where the user is looking.
    QPalette palette = search_->palette();
    palette.setColor(QPalette::Text,
                     why.isEmpty() ? dialog_.palette().color(QPalette::Text) : QColor(176, 0, 0));
    search_->setPalette(palette);
    search_->setProperty("lookToolTip", why);
    search_->setToolTip(why);
    if (!why.isEmpty()) dialog_.presentation().note(why);
}

}  // namespace qtui

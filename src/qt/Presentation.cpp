#include "qt/Presentation.h"

#include <QBoxLayout>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QDateEdit>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTableView>
#include <QTreeView>

#include "browser/FrmMaster.h"
#include "browser/GridColumns.h"
#include "browser/MonthStatusView.h"
#include "common/Error.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "qt/Binder.h"
#include "qt/BrowserGrid.h"
#include "qt/ColumnMenu.h"
#include "qt/ItemLook.h"
#include "qt/ItemModels.h"
#include "qt/PostingTotals.h"
#include "qt/QtToolkit.h"
#include "qt/WindowFit.h"
#include "ui/Controls.h"

namespace qtui {

namespace {

// Notes stay a while and then make room; nothing waits for them.
constexpr int kNoteMs = 20000;
// Work shorter than this needs no progress shown; a shown one repaints at most this often.
constexpr int kProgressAfterMs = 500, kProgressPaintMs = 100;

QDateEdit* dateEditOf(QObject* o) {
    for (; o != nullptr; o = o->parent())
        if (auto* d = qobject_cast<QDateEdit*>(o)) return d;
    return nullptr;
}

}  // namespace

Presentation::Presentation(FormDialog& dialog) : QObject(&dialog), dialog_(dialog) {
    status_ = new QStatusBar(&dialog);
    status_->setObjectName("statusLine");
    status_->setSizeGripEnabled(false);
    progress_ = new QProgressBar(status_);
    progress_->setRange(0, 0);  // busy: how long is not known
    progress_->setMaximumWidth(140);
    progress_->setMaximumHeight(status_->fontMetrics().height());
    progress_->hide();
    status_->addPermanentWidget(progress_);
    // Beside the Ok button when the row has room to spare (the linking screen needs every
    // line of a small screen for its lists), else a line of its own at the bottom.
    QBoxLayout* row = nullptr;
    for (auto* box : dialog.findChildren<QHBoxLayout*>()) {
        const int ok = box->indexOf(dialog.findChild<QWidget*>("cmdOk"));
        if (ok > 0 && box->itemAt(0)->spacerItem() != nullptr) row = box;
    }
    if (row != nullptr) {
        row->insertWidget(1, status_, 1);
    } else if (auto* box = qobject_cast<QBoxLayout*>(dialog.layout())) {
        box->addWidget(status_);
    } else {
        status_->hide();
    }

    // Disabled text stays readable: a read-only entry is still read.
    QPalette palette = dialog.palette();
    const QColor readable(96, 96, 96);
    for (auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, readable);
    dialog.setPalette(palette);

    dressLists();
    addTips();
    watchWork();
    letListsShrink(dialog);
    // A whole month's posting lines of a department on a laptop screen at 125 %.
    if (auto* postings = dialog.findChild<QTreeView*>("lvwPostingDetails")) keepRowsInSight(*postings, 8);
    if (auto* master = dynamic_cast<browser::FrmMaster*>(&dialog.form()))
        browserGrid_ = new BrowserGrid(dialog, *master);

    if (dialog.form().name() == "frmcancell") {
        entryNumber_ = browserEntryNumber();
        if (!entryNumber_.isEmpty()) note(tr("Cancelling entry %1").arg(entryNumber_));
    }
}

Presentation::~Presentation() { detach(); }

void Presentation::detach() {
    if (detached_) return;
    detached_ = true;
    if (browserGrid_ != nullptr) browserGrid_->detach();
    for (auto& [control, id] : listeners_) control->removeListener(id);
    listeners_.clear();
    for (auto* totals : dialog_.findChildren<PostingTotals*>()) totals->detach();
}

ui::Control* Presentation::control(const char* name) const { return dialog_.form().find(name); }

QString Presentation::browserEntryNumber() const {
    auto* below = qobject_cast<FormDialog*>(dialog_.parentWidget());
    auto* grid = below != nullptr ? dynamic_cast<ui::FlexGrid*>(below->form().find("flexMaster")) : nullptr;
    try {
        if (grid != nullptr && grid->row() >= 1)
            return QString::fromStdString(grid->textMatrix(grid->row(), browser::mst::TransNo));
    } catch (const common::Error&) {
    }
    return {};
}

ColumnMenu* Presentation::columnMenu(const QString& list) const {
    auto it = columnMenus_.find(list);
    return it == columnMenus_.end() ? nullptr : it->second;
}

void Presentation::dressLists() {
    const QString form = QString::fromStdString(dialog_.form().name());
    connect(&dialog_.binder(), &Binder::listLaidOut, this, [this](QAbstractItemView* view) {
        if (ColumnMenu* menu = columnMenu(view->objectName())) menu->apply();
    });
    for (auto* tree : dialog_.findChildren<QTreeView*>()) {
        auto* model = qobject_cast<ListViewModel*>(tree->model());
        if (model == nullptr) continue;
        static const ListLook plain;
        const ListLook* look = listLook(form, tree->objectName());
        model->setLook(look);
        tree->header()->setStretchLastSection(true);
        tree->header()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        columnMenus_[tree->objectName()] =
            new ColumnMenu(*tree, *tree->header(), form + '.' + tree->objectName(), look ? *look : plain);
        tree->installEventFilter(this);
        if (look != nullptr && look->debit >= 0) {
            auto* box = qobject_cast<QBoxLayout*>(tree->parentWidget()->layout());
            if (box != nullptr)
                box->insertWidget(box->indexOf(tree) + 1,
                                  new PostingTotals(*model, *look, tree->parentWidget()));
        }
    }
    for (auto* table : dialog_.findChildren<QTableView*>()) {
        static const ListLook plain;
        const ListLook* look = listLook(form, table->objectName());
        QHeaderView* header = table->horizontalHeader();
        // The grid uses the window's whole width: one column takes what the others leave.
        if (look != nullptr && look->stretch >= 0) {
            connect(&dialog_.binder(), &Binder::listLaidOut, header, [header, look](QAbstractItemView*) {
                if (look->stretch < header->count())
                    header->setSectionResizeMode(look->stretch, QHeaderView::Stretch);
            });
            if (look->stretch < header->count())
                header->setSectionResizeMode(look->stretch, QHeaderView::Stretch);
        } else {
            header->setStretchLastSection(true);
        }
        table->setItemDelegate(new ColouredRowDelegate(table));
        columnMenus_[table->objectName()] =
            new ColumnMenu(*table, *header, form + '.' + table->objectName(), look ? *look : plain);
    }
    for (const char* name : {"txtTotDepAmount", "txtAmount", "txtDepAmount", "txtCompAmount", "txtBalance"}) {
        auto* box = dialog_.findChild<QLineEdit*>(name);
        auto* model = box != nullptr ? dynamic_cast<ui::TextBox*>(dialog_.binder().controlOf(box)) : nullptr;
        if (model == nullptr) continue;
        box->setProperty(kAmountBox, true);
        box->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        box->installEventFilter(this);
        box->setText(shownText(*box, QString::fromStdString(model->text()), box->maxLength()));
    }
    for (auto* date : dialog_.findChildren<QDateEdit*>()) {
        date->installEventFilter(this);
        for (auto* inner : date->findChildren<QLineEdit*>()) inner->installEventFilter(this);
    }
}

namespace {

// Two boxes whose captions may read alike ("Amount(AED)") once the currencies are known.
const std::pair<const char*, const char*> kBoxTips[] = {
    {"txtDepAmount", "Amount in the department's currency"},
    {"lblDepAmount", "Amount in the department's currency"},
    {"txtCompAmount", "Amount in the company's currency"},
    {"lblCompAmount", "Amount in the company's currency"},
    {"txtTotDepAmount", "Balance of the lines in the department's currency"},
};

}  // namespace

void Presentation::addTips() {
    for (const auto& [name, tip] : kBoxTips) {
        if (auto* w = dialog_.findChild<QWidget*>(name)) {
            w->setProperty("lookToolTip", tr(tip));
            w->setToolTip(tr(tip));
        }
    }
}

void Presentation::watchWork() {
    const std::string& form = dialog_.form().name();
    auto* toolkit = dynamic_cast<QtToolkit*>(&dialog_.form().toolkit());
    if (form != "frmPayrollAccountsLinking" || toolkit == nullptr) return;

    // Retrievals fill the lists row by row: each row is a chance to show how far they are.
    for (const char* name : {"lvwTransactions", "lvwTransactionDetails", "lvwPostingDetails"}) {
        if (ui::Control* c = control(name))
            listeners_.emplace_back(
                c, c->addListener([this](ui::Control&, ui::Change, int, int) { workStep(); }));
    }
    // These run after the binder has handed the click to the screen (connected later).
    if (auto* show = dialog_.findChild<QPushButton*>("cmdShow")) {
        connect(show, &QPushButton::pressed, this, [this, toolkit] {
            status_->clearMessage();  // the last Show's note is about another range
            messagesBefore_ = toolkit->messagesShown();
            work_.start();
        });
        connect(show, &QPushButton::clicked, this, [this, toolkit] {
            work_.invalidate();
            if (detached_) return;
            hideProgress();
            auto* transactions = dynamic_cast<ui::ListView*>(control("lvwTransactions"));
            auto* details = dynamic_cast<ui::ListView*>(control("lvwTransactionDetails"));
            if (transactions == nullptr || details == nullptr) return;
            // A refused Show has said why in a box already.
            if (toolkit->messagesShown() == messagesBefore_ && transactions->count() == 0 &&
                details->count() == 0)
                if (auto* f = dynamic_cast<linking::frmPayrollAccountsLinking*>(&dialog_.form()))
                    note(QString::fromStdString(browser::NothingToPostNote(*f)));
        });
    }
    // Select All gathers every line at once: as long as a retrieval on a big range.
    if (auto* all = dialog_.findChild<QAbstractButton*>("chkSelectAll")) {
        connect(all, &QAbstractButton::pressed, this, [this] { work_.start(); });
        connect(all, &QAbstractButton::clicked, this, [this] {
            work_.invalidate();
            if (!detached_) hideProgress();
        });
    }
    if (auto* ok = dialog_.findChild<QPushButton*>("cmdOk")) {
        // A save gives no sign of life while it writes: say so before it starts.
        connect(ok, &QPushButton::pressed, this, [this] { showProgress(tr("Saving…")); });
        connect(ok, &QPushButton::clicked, this, [this] {
            if (!detached_) hideProgress();
        });
    }
}

void Presentation::workStep() {
    if (detached_ || !work_.isValid() || work_.elapsed() < kProgressAfterMs) return;
    if (lastPaint_.isValid() && lastPaint_.elapsed() < kProgressPaintMs) return;
    int rows = 0;
    for (const char* name : {"lvwTransactions", "lvwTransactionDetails"})
        if (auto* list = dynamic_cast<ui::ListView*>(control(name))) rows += list->count();
    showProgress(tr("Retrieving… %1 rows").arg(rows));
}

void Presentation::showProgress(const QString& text) {
    if (detached_) return;
    status_->showMessage(text);
    progress_->show();
    progressShown_ = true;
    // Painted now: the work goes on without a turn of the event loop.
    QCoreApplication::sendPostedEvents(status_, QEvent::LayoutRequest);
    if (status_->isVisible()) status_->repaint();
    lastPaint_.start();
}

void Presentation::hideProgress() {
    progress_->hide();
    lastPaint_.invalidate();
    if (progressShown_) status_->clearMessage();
    progressShown_ = false;
}

void Presentation::setBusy(bool busy) {
    if (busy) {
        showProgress(tr("Working…"));
    } else {
        hideProgress();
    }
}

void Presentation::note(const QString& text) {
    if (status_ != nullptr && !text.isEmpty()) status_->showMessage(text, kNoteMs);
}

QString Presentation::closingNote() const {
    const ui::Control* acting = dialog_.binder().acting();
    if (acting == nullptr) return {};
    const std::string& form = dialog_.form().name();
    if (form == "frmPayrollAccountsLinking" && acting->name() == "cmdOk") {
        // The number as stored: the save has brought the browser's row up to date, while the
        // screen's box shows whatever was typed into it.
        const QString number = browserEntryNumber();
        return number.isEmpty() ? tr("Saved") : tr("Saved as %1").arg(number);
    }
    if (form == "frmcancell" && acting->name() == "cmdok")
        return entryNumber_.isEmpty() ? tr("Entry cancelled") : tr("Cancelled %1").arg(entryNumber_);
    return {};
}

void Presentation::openMenuAtCurrentRow(QTreeView& tree) {
    auto* list = dynamic_cast<ui::ListView*>(dialog_.binder().controlOf(&tree));
    auto* toolkit = dynamic_cast<QtToolkit*>(&dialog_.form().toolkit());
    if (list == nullptr || toolkit == nullptr || detached_) return;
    dialog_.binder().flush();
    const QModelIndex current = tree.currentIndex();
    if (current.isValid() && current.row() + 1 != list->selectedIndex())
        list->userSelectRow(current.row() + 1);
    const QRect rect = current.isValid() ? tree.visualRect(current) : QRect();
    const QPoint at = rect.isValid() && tree.viewport()->rect().intersects(rect)
                          ? QPoint(tree.viewport()->rect().left() + 16, rect.bottom())
                          : QPoint(16, 0);
    toolkit->setNextMenuPosition(tree.viewport()->mapToGlobal(at));
    // What a right-click on the line does: the screen opens its menu.
    list->userRightClick();
    toolkit->setNextMenuPosition(std::nullopt);
}

bool Presentation::eventFilter(QObject* watched, QEvent* event) {
    if (detached_) return false;
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        const auto mods = key->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier);
        if (auto* tree = qobject_cast<QTreeView*>(watched)) {
            if ((key->key() == Qt::Key_Menu && mods == Qt::NoModifier) ||
                (key->key() == Qt::Key_F10 && mods == Qt::ShiftModifier)) {
                openMenuAtCurrentRow(*tree);
                return true;
            }
        }
        // A date picker is one stop on the way through the window, not three.
        if ((key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) &&
            (mods & (Qt::ControlModifier | Qt::AltModifier)) == 0 && dateEditOf(watched) != nullptr) {
            if (key->key() == Qt::Key_Backtab || (mods & Qt::ShiftModifier)) {
                dialog_.tabBackward();
            } else {
                dialog_.tabForward();
            }
            return true;
        }
    } else if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) {
        // An amount box shows its figure formatted, and as it is while the user is in it.
        auto* box = qobject_cast<QLineEdit*>(watched);
        auto* model = box != nullptr && box->property(kAmountBox).toBool()
                          ? dynamic_cast<ui::TextBox*>(dialog_.binder().controlOf(box))
                          : nullptr;
        if (model != nullptr) {
            const QString shown = shownText(*box, QString::fromStdString(model->text()), box->maxLength());
            if (box->text() != shown) box->setText(shown);
        }
    } else if (event->type() == QEvent::ContextMenu) {
        auto* menu = static_cast<QContextMenuEvent*>(event);
        if (auto* tree = qobject_cast<QTreeView*>(watched);
            tree != nullptr && menu->reason() == QContextMenuEvent::Keyboard) {
            openMenuAtCurrentRow(*tree);
            return true;
        }
    }
    return false;
}

}  // namespace qtui

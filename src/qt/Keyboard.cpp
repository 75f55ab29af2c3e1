#include "qt/Keyboard.h"

#include <QBoxLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QPointer>
#include <QPushButton>
#include <QShortcut>
#include <QTableView>
#include <algorithm>

#include "qt/Binder.h"
#include "qt/QtToolkit.h"

namespace qtui {

namespace {

struct Shortcut {
    const char* form;
    const char* target;  // a button is clicked, anything else takes the focus
    QKeySequence::StandardKey standard;
    QKeyCombination key;  // used when standard is UnknownKey
    const char* tip;      // for buttons without a caption
};

const Shortcut kShortcuts[] = {
    {"FrmMaster", "cmdnew", QKeySequence::New, {}, nullptr},
    {"FrmMaster", "txtsearch", QKeySequence::Find, {}, nullptr},
    {"FrmMaster", "cmdPrint", QKeySequence::Print, {}, nullptr},
    {"frmPayrollAccountsLinking", "cmdOk", QKeySequence::Save, {}, nullptr},
    {"frmPayrollAccountsLinking", "cmdShow", QKeySequence::Refresh, {}, nullptr},
    {"frmJournalDetails", "cmdOK", QKeySequence::Save, {}, nullptr},
    {"frmJournalDetails", "cmdFirst", QKeySequence::UnknownKey, QKeyCombination(Qt::ALT, Qt::Key_Home),
     "First line"},
    {"frmJournalDetails", "cmdPrevious", QKeySequence::UnknownKey, QKeyCombination(Qt::ALT, Qt::Key_Left),
     "Previous line"},
    {"frmJournalDetails", "cmdNext", QKeySequence::UnknownKey, QKeyCombination(Qt::ALT, Qt::Key_Right),
     "Next line"},
    {"frmJournalDetails", "cmdLast", QKeySequence::UnknownKey, QKeyCombination(Qt::ALT, Qt::Key_End),
     "Last line"},
};

// Every key of the shortcut: a standard key may have more than one on a platform (F5 and
// Ctrl+R both refresh on some desktops).
QList<QKeySequence> keysOf(const Shortcut& s) {
    if (s.standard != QKeySequence::UnknownKey) return QKeySequence::keyBindings(s.standard);
    return {QKeySequence(s.key)};
}

// The button that leaves each screen the way its Close or Cancel does. The browser has none:
// closing it ends the program, which a stray Escape must not do.
const std::pair<const char*, const char*> kLeaveButtons[] = {
    {"frmPayrollAccountsLinking", "cmdClose"},
    {"frmJournalDetails", "cmdCancel"},
    {"frmcancell", "cmdKeep"},
};

void collect(QLayout* layout, QList<QWidget*>& out);

void visit(QWidget* w, QList<QWidget*>& out) {
    if (w == nullptr || w->isWindow()) return;
    // A frame (or any plain container) is passed where it stands, field by field.
    if (w->layout() != nullptr &&
        (qobject_cast<QGroupBox*>(w) != nullptr || w->focusPolicy() == Qt::NoFocus)) {
        collect(w->layout(), out);
    } else if (w->focusPolicy() != Qt::NoFocus) {
        out << w;
    }
}

void collect(QLayout* layout, QList<QWidget*>& out) {
    struct Placed {
        int row, col;
        QLayoutItem* item;
    };
    std::vector<Placed> items;
    auto* grid = qobject_cast<QGridLayout*>(layout);
    for (int i = 0; i < layout->count(); ++i) {
        int row = 0, col = i, rowSpan = 0, colSpan = 0;
        if (grid != nullptr) grid->getItemPosition(i, &row, &col, &rowSpan, &colSpan);
        items.push_back({row, col, layout->itemAt(i)});
    }
    std::stable_sort(items.begin(), items.end(), [](const Placed& a, const Placed& b) {
        return a.row != b.row ? a.row < b.row : a.col < b.col;
    });
    for (const Placed& p : items) {
        if (p.item->widget() != nullptr) {
            visit(p.item->widget(), out);
        } else if (p.item->layout() != nullptr) {
            collect(p.item->layout(), out);
        }
    }
}

}  // namespace

Keyboard::Keyboard(FormDialog& dialog) : QObject(&dialog), dialog_(dialog) {
    for (auto* button : dialog.findChildren<QPushButton*>()) {
        button->setAutoDefault(false);
        button->setDefault(false);
    }
    addShortcuts();
    orderTabs();
    if (dialog.form().name() == "FrmMaster") {
        if (auto* grid = dialog.findChild<QTableView*>("flexMaster")) {
            grid->installEventFilter(this);
            connect(grid, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
                if (index.isValid()) openSelectedEntry();
            });
        }
    }
}

void Keyboard::addShortcuts() {
    const std::string& form = dialog_.form().name();
    for (const Shortcut& s : kShortcuts) {
        QPointer<QWidget> target = form == s.form ? dialog_.findChild<QWidget*>(s.target) : nullptr;
        const QList<QKeySequence> keys = keysOf(s);
        if (target == nullptr || keys.isEmpty()) continue;
        const QString named = keys.front().toString(QKeySequence::NativeText);
        const QString tip = s.tip == nullptr ? named : tr("%1 (%2)").arg(tr(s.tip), named);
        // The binder shows the model's own tooltip first and this one when there is none.
        target->setProperty("lookToolTip", tip);
        target->setToolTip(tip);
        auto* shortcut = new QShortcut(&dialog_);
        shortcut->setKeys(keys);
        connect(shortcut, &QShortcut::activated, this, [this, target] {
            if (target == nullptr || dialog_.binder().detached()) return;
            if (auto* button = qobject_cast<QPushButton*>(target.data())) {
                if (button->isVisible()) button->click();
            } else if (target->isEnabled() && target->isVisible()) {
                target->setFocus(Qt::ShortcutFocusReason);
            }
        });
    }
}

void Keyboard::orderTabs() {
    QList<QWidget*> chain;
    if (dialog_.layout() != nullptr) collect(dialog_.layout(), chain);
    for (qsizetype i = 1; i < chain.size(); ++i) QWidget::setTabOrder(chain[i - 1], chain[i]);
}

QPushButton* Keyboard::leaveButton() const {
    for (const auto& [form, button] : kLeaveButtons)
        if (dialog_.form().name() == form) return dialog_.findChild<QPushButton*>(button);
    return nullptr;
}

bool Keyboard::leave() {
    QPushButton* button = leaveButton();
    if (button == nullptr) return false;
    if (button->isEnabled() && button->isVisible()) button->click();
    return true;
}

void Keyboard::openSelectedEntry() {
    // As Edit does, with its rights: a posted or cancelled entry opens read-only.
    auto* edit = dialog_.findChild<QPushButton*>("CmdEdit");
    if (edit != nullptr && edit->isEnabled() && edit->isVisible() && !dialog_.binder().detached())
        edit->click();
}

bool Keyboard::eventFilter(QObject* watched, QEvent* event) {
    (void)watched;
    if (event->type() != QEvent::KeyPress || dialog_.binder().detached()) return false;
    auto* key = static_cast<QKeyEvent*>(event);
    if ((key->key() != Qt::Key_Return && key->key() != Qt::Key_Enter) ||
        key->modifiers() & ~Qt::KeypadModifier)
        return false;
    openSelectedEntry();
    return true;
}

}  // namespace qtui

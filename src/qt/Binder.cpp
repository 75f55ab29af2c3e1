#include "qt/Binder.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QTreeView>
#include <algorithm>
#include <utility>

#include "common/Error.h"
#include "common/Utf8.h"
#include "qt/ItemLook.h"
#include "qt/ItemModels.h"
#include "qt/QtToolkit.h"

namespace qtui {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }

// Counts a change shown from the models, so that widget signals it causes are not taken
// for the user's.
struct FromModel {
    explicit FromModel(int& n) : n_(n) { ++n_; }
    ~FromModel() { --n_; }
    FromModel(const FromModel&) = delete;
    FromModel& operator=(const FromModel&) = delete;
    int& n_;
};

// A label without a buddy would show its '&' as it is.
QString withoutMnemonic(const QString& caption) {
    QString out;
    for (qsizetype i = 0; i < caption.size(); ++i) {
        if (caption[i] == '&' && i + 1 < caption.size()) {
            ++i;
        }
        out += caption[i];
    }
    return out;
}

// Model text positions are bytes of UTF-8; the line edit counts UTF-16 units.
// The models count characters; QLineEdit counts UTF-16 units (two for an emoji).
int toWidgetPos(const std::string& text, int charPos) {
    if (charPos <= 0) return 0;
    const size_t n = common::utf8Offset(text, static_cast<size_t>(charPos));
    return static_cast<int>(QString::fromUtf8(text.data(), static_cast<qsizetype>(n)).size());
}
int toModelPos(const QString& text, int widgetPos) {
    return static_cast<int>(text.left(widgetPos).toUcs4().size());
}

common::DateTime toDateTime(const QDate& d) { return common::DateTime::ymd(d.year(), d.month(), d.day()); }

// A typed character the models take key by key (ASCII, as the classic KeyAscii).
int16_t asciiOf(const QKeyEvent* k) {
    if (k->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return 0;
    const QString t = k->text();
    if (t.size() != 1) return 0;
    const char16_t c = t[0].unicode();
    return (c >= 0x20 && c < 0x7F) ? static_cast<int16_t>(c) : 0;
}

// A typed character beyond ASCII (an Arabic letter, an emoji): the models take it as typed
// text, so it goes through KeyPress like any other key.
QString typedBeyondAscii(const QKeyEvent* k) {
    if (k->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return {};
    const QString t = k->text();
    const auto chars = t.toUcs4();
    if (chars.size() != 1 || chars[0] < 0xA0) return {};
    return t;
}

// Ctrl+A .. Ctrl+Z give the control codes 1 .. 26, as the classic KeyPress saw them.
int16_t controlCodeOf(const QKeyEvent* k) {
    if ((k->modifiers() & Qt::ControlModifier) == 0 || (k->modifiers() & Qt::AltModifier)) return 0;
    if (k->key() >= Qt::Key_A && k->key() <= Qt::Key_Z) return static_cast<int16_t>(k->key() - Qt::Key_A + 1);
    return 0;
}

bool isEnter(const QKeyEvent* k) { return k->key() == Qt::Key_Return || k->key() == Qt::Key_Enter; }

}  // namespace

int classicKeyCode(int qtKey) {
    switch (qtKey) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return 13;
        case Qt::Key_Tab:
            return 9;
        case Qt::Key_Backspace:
            return 8;
        case Qt::Key_Escape:
            return 27;
        case Qt::Key_Space:
            return 32;
        case Qt::Key_PageUp:
            return 33;
        case Qt::Key_PageDown:
            return 34;
        case Qt::Key_End:
            return 35;
        case Qt::Key_Home:
            return 36;
        case Qt::Key_Left:
            return 37;
        case Qt::Key_Up:
            return 38;
        case Qt::Key_Right:
            return 39;
        case Qt::Key_Down:
            return 40;
        case Qt::Key_Insert:
            return 45;
        case Qt::Key_Delete:
            return 46;
        default:
            break;
    }
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F12) return 112 + (qtKey - Qt::Key_F1);
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) return qtKey;
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) return qtKey;
    return 0;
}

Binder::Binder(ui::Form& form, QWidget* root) : QObject(root), form_(form), root_(root) {
    for (ui::Control* c : form_.controls()) bind(*c);

    // The classic tab order is the controls' layout order.
    QWidget* previous = nullptr;
    for (auto& b : bindings_) {
        QWidget* w = b->widget;
        if (w == nullptr || !(w->focusPolicy() & Qt::TabFocus)) continue;
        if (previous != nullptr) QWidget::setTabOrder(previous, w);
        previous = w;
    }
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { focusIn(now); });
    refreshAll();
}

Binder::~Binder() { detach(); }

void Binder::detach() {
    if (detached_) return;
    detached_ = true;
    for (auto& b : bindings_) {
        if (b->listenerId != 0) b->control->removeListener(b->listenerId);
        b->listenerId = 0;
        // The views must not read a list that goes with its form.
        if (auto* view = qobject_cast<QAbstractItemView*>(b->widget.data());
            view != nullptr && (b->listModel != nullptr || b->gridModel != nullptr))
            view->setModel(nullptr);
    }
}

Binder::Binding* Binder::bindingOf(const ui::Control& control) const {
    for (const auto& b : bindings_)
        if (b->control == &control) return b.get();
    return nullptr;
}

QWidget* Binder::widgetOf(const ui::Control& control) const {
    const Binding* b = bindingOf(control);
    return b == nullptr ? nullptr : b->widget.data();
}

ui::Control* Binder::controlOf(QWidget* widget) const {
    for (QObject* o = widget; o != nullptr && o != root_; o = o->parent()) {
        auto it = byWidget_.find(o);
        if (it != byWidget_.end()) return it->second->control;
    }
    return nullptr;
}

QStringList Binder::unboundControls() const {
    QStringList out;
    for (const auto& b : bindings_)
        if (b->widget == nullptr) out << qs(b->control->name());
    return out;
}

void Binder::bind(ui::Control& control) {
    auto b = std::make_unique<Binding>();
    b->control = &control;
    const ui::Kind type = control.kind();
    if (type == ui::Kind::Menu || type == ui::Kind::MenuItem) return;  // popped up by the toolkit

    QWidget* w = root_->findChild<QWidget*>(qs(control.name()));
    bool fits = false;
    if (w != nullptr) {
        if (type == ui::Kind::Label)
            fits = qobject_cast<QLabel*>(w) != nullptr;
        else if (type == ui::Kind::Frame)
            fits = qobject_cast<QGroupBox*>(w) != nullptr;
        else if (type == ui::Kind::CommandButton)
            fits = qobject_cast<QPushButton*>(w) != nullptr;
        else if (type == ui::Kind::TextBox)
            fits = qobject_cast<QLineEdit*>(w) != nullptr;
        else if (type == ui::Kind::ComboBox)
            fits = qobject_cast<QComboBox*>(w) != nullptr;
        else if (type == ui::Kind::CheckBox)
            fits = qobject_cast<QCheckBox*>(w) != nullptr;
        else if (type == ui::Kind::OptionButton)
            fits = qobject_cast<QRadioButton*>(w) != nullptr;
        else if (type == ui::Kind::DatePicker)
            fits = qobject_cast<QDateEdit*>(w) != nullptr;
        else if (type == ui::Kind::ListView)
            fits = qobject_cast<QTreeView*>(w) != nullptr;
        else if (type == ui::Kind::FlexGrid)
            fits = qobject_cast<QTableView*>(w) != nullptr;
    }
    if (fits) b->widget = w;
    Binding& ref = *b;
    bindings_.push_back(std::move(b));
    if (!fits) return;

    ref.focusPolicy = w->focusPolicy();
    byWidget_[w] = &ref;
    w->installEventFilter(this);
    connectWidget(ref);
    ref.listenerId = control.addListener([this, &ref](ui::Control&, ui::Change change, int row, int col) {
        modelChanged(ref, change, row, col);
    });
}

void Binder::connectWidget(Binding& b) {
    ui::Control& c = *b.control;
    QWidget* w = b.widget;

    if (auto* label = qobject_cast<QLabel*>(w)) {
        b.labelHasBuddy = label->buddy() != nullptr;
    } else if (auto* button = qobject_cast<QPushButton*>(w)) {
        // Enter in a field must never press a button behind the user's back.
        button->setAutoDefault(false);
        button->setDefault(false);
        auto& model = static_cast<ui::CommandButton&>(c);
        connect(button, &QPushButton::clicked, this,
                [this, &b, &model] { user(b, [&] { model.userClick(); }); });
    } else if (auto* edit = qobject_cast<QLineEdit*>(w)) {
        auto& model = static_cast<ui::TextBox&>(c);
        // Keys are routed through the model; what reaches the widget otherwise (paste, cut,
        // undo, Delete) is handed over as a paste.
        connect(edit, &QLineEdit::textEdited, this, [this, &b, &model](const QString& text) {
            if (text.toStdString() != model.text()) user(b, [&] { model.userPaste(text.toStdString()); });
        });
    } else if (auto* combo = qobject_cast<QComboBox*>(w)) {
        auto& model = static_cast<ui::ComboBox&>(c);
        combo->setEditable(model.style() == ui::ComboBox::Style::DropDownCombo);
        combo->setInsertPolicy(QComboBox::NoInsert);
        combo->setMaxVisibleItems(20);
        if (QLineEdit* edit = combo->lineEdit()) {
            byWidget_[edit] = &b;
            edit->installEventFilter(this);
            // Typed characters go through the model key by key; what else edits the text
            // (Delete, paste, cut) reaches the model as the new text.
            connect(edit, &QLineEdit::textEdited, this, [this, &b, &model](const QString& text) {
                if (text.toStdString() != model.text()) user(b, [&] { model.setText(text.toStdString()); });
            });
        }
        // activated comes for every choice, also of the item already chosen.
        connect(combo, &QComboBox::activated, this,
                [this, &b, &model](int index) { user(b, [&] { model.userSelect(index); }); });
    } else if (auto* check = qobject_cast<QCheckBox*>(w)) {
        auto& model = static_cast<ui::CheckBox&>(c);
        connect(check, &QCheckBox::clicked, this,
                [this, &b, &model] { user(b, [&] { model.userClick(); }); });
    } else if (auto* radio = qobject_cast<QRadioButton*>(w)) {
        auto& model = static_cast<ui::OptionButton&>(c);
        // The model clears the other buttons of its container.
        radio->setAutoExclusive(false);
        connect(radio, &QRadioButton::clicked, this,
                [this, &b, &model] { user(b, [&] { model.userSet(true); }); });
    } else if (auto* dateEdit = qobject_cast<QDateEdit*>(w)) {
        auto& model = static_cast<ui::DatePicker&>(c);
        dateEdit->setDisplayFormat("dd/MM/yyyy");
        dateEdit->setCalendarPopup(true);
        for (auto* inner : dateEdit->findChildren<QLineEdit*>()) {
            byWidget_[inner] = &b;
            inner->installEventFilter(this);
        }
        connect(dateEdit, &QDateEdit::dateChanged, this, [this, &b, &model](const QDate& d) {
            if (d.isValid() && toDateTime(d) != model.value().dateOnly())
                user(b, [&] { model.userSet(toDateTime(d)); });
        });
    } else if (auto* tree = qobject_cast<QTreeView*>(w)) {
        auto& model = static_cast<ui::ListView&>(c);
        b.listModel = new ListViewModel(model, this);
        tree->setModel(b.listModel);
        tree->setRootIsDecorated(false);
        tree->setUniformRowHeights(true);
        tree->setTabKeyNavigation(false);
        tree->setSelectionMode(QAbstractItemView::SingleSelection);
        tree->setSelectionBehavior(QAbstractItemView::SelectRows);
        tree->setEditTriggers(QAbstractItemView::NoEditTriggers);
        tree->header()->setStretchLastSection(false);
        tree->viewport()->installEventFilter(this);
        byWidget_[tree->viewport()] = &b;
        b.listModel->onUserToggle = [this, &b, &model](int row) {
            user(b, [&] { model.userToggle(row + 1); });
        };
        b.listModel->afterReset = [this, &b] {
            FromModel guard(fromModel_);
            applyColumnWidths(b);
            refreshCurrent(b);
        };
        connect(tree->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
                [this, &b, &model](const QModelIndex& current) {
                    if (!current.isValid() || current.row() + 1 == model.selectedIndex()) return;
                    user(b, [&] { model.userSelectRow(current.row() + 1); });
                });
        applyColumnWidths(b);
    } else if (auto* table = qobject_cast<QTableView*>(w)) {
        auto& model = static_cast<ui::FlexGrid&>(c);
        b.gridModel = new FlexGridModel(model, this);
        table->setModel(b.gridModel);
        table->setTabKeyNavigation(false);
        table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        table->setSelectionMode(QAbstractItemView::SingleSelection);
        table->setSelectionBehavior(QAbstractItemView::SelectRows);
        table->setWordWrap(false);
        table->verticalHeader()->setVisible(false);
        table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
        table->horizontalHeader()->setHighlightSections(false);
        // The header row is no column selector: the screens sort through their own controls.
        table->horizontalHeader()->setSectionsClickable(false);
        table->viewport()->installEventFilter(this);
        byWidget_[table->viewport()] = &b;
        b.gridModel->afterReset = [this, &b] {
            FromModel guard(fromModel_);
            applyColumnWidths(b);
            refreshCurrent(b);
        };
        connect(table->selectionModel(), &QItemSelectionModel::currentChanged, this,
                [this, &b, &model](const QModelIndex& current) {
                    if (!current.isValid()) return;
                    const int row = current.row() + b.gridModel->fixedRows();
                    if (row == model.row() && current.column() == model.col()) return;
                    user(b, [&] { model.userSelectCell(row, current.column()); });
                });
        applyColumnWidths(b);
    }
}

template <class F>
void Binder::user(Binding& b, F&& action) {
    if (detached_ || fromModel_ > 0) return;
    flush();
    ui::Control* outer = std::exchange(acting_, b.control);
    struct Restore {
        ui::Control*& acting;
        ui::Control* outer;
        ~Restore() { acting = outer; }
    } restore{acting_, outer};
    try {
        action();
    } catch (const common::Error& e) {
        form_.toolkit().showError(e);
    } catch (const std::exception& e) {
        form_.toolkit().showError(common::Error(51, "QORPayAccLinking", e.what()));
    }
    if (detached_) return;
    refresh(b);
    root_->setWindowTitle(qs(form_.caption()));
}

void Binder::modelChanged(Binding& b, ui::Change change, int row, int col) {
    if (detached_ || b.widget == nullptr) return;
    FromModel guard(fromModel_);
    if (b.listModel != nullptr || b.gridModel != nullptr) {
        if (b.listModel != nullptr) b.listModel->modelChanged(change, row, col);
        if (b.gridModel != nullptr) b.gridModel->modelChanged(change, row, col);
        const bool pending =
            b.listModel != nullptr ? b.listModel->resetPending() : b.gridModel->resetPending();
        if (change == ui::Change::Property) {
            refresh(b);
            // EnsureVisible on a list, TopRow on a grid.
            if (auto* tree = qobject_cast<QTreeView*>(b.widget.data());
                tree != nullptr && row >= 1 && !pending)
                tree->scrollTo(b.listModel->index(row - 1, 0));
            if (b.gridModel != nullptr && row >= 0 && !pending) refreshCurrent(b);
        }
        if (change == ui::Change::Selection && !pending) refreshCurrent(b);
        if (change == ui::Change::Columns && !pending) applyColumnWidths(b);
        return;
    }
    refresh(b);
    if (auto* edit = qobject_cast<QLineEdit*>(b.widget.data());
        edit != nullptr && (change == ui::Change::Text || change == ui::Change::Selection)) {
        auto& model = static_cast<ui::TextBox&>(*b.control);
        const int start = toWidgetPos(model.text(), model.selStart());
        const int end = toWidgetPos(model.text(), model.selStart() + model.selLength());
        if (end > start) {
            edit->setSelection(start, end - start);
        } else {
            edit->setCursorPosition(start);
        }
    }
}

void Binder::refreshAll() {
    FromModel guard(fromModel_);
    for (auto& b : bindings_) {
        if (b->widget == nullptr) continue;
        refresh(*b);
        if (b->listModel != nullptr || b->gridModel != nullptr) refreshCurrent(*b);
    }
    root_->setWindowTitle(qs(form_.caption()));
}

void Binder::refresh(Binding& b) {
    QWidget* w = b.widget;
    if (w == nullptr || detached_) return;
    FromModel guard(fromModel_);
    ui::Control& c = *b.control;

    applyEnabled(b);
    if (w->isHidden() == c.visible()) w->setVisible(c.visible());
    // The model's tooltip, else the one the window gives the widget (a shortcut, a button's purpose).
    const QString tip = c.toolTipText().empty() ? w->property("lookToolTip").toString() : qs(c.toolTipText());
    if (w->toolTip() != tip) w->setToolTip(tip);
    if (b.focusPolicy & Qt::TabFocus) w->setFocusPolicy(c.tabStop() ? b.focusPolicy : Qt::ClickFocus);

    if (auto* label = qobject_cast<QLabel*>(w)) {
        const QString caption = shownCaption(qs(form_.name()), qs(c.name()), qs(c.caption()));
        label->setText(b.labelHasBuddy ? caption : withoutMnemonic(caption));
    } else if (auto* group = qobject_cast<QGroupBox*>(w)) {
        group->setTitle(qs(c.caption()));
    } else if (auto* button = qobject_cast<QPushButton*>(w)) {
        button->setText(qs(c.caption()));
    } else if (auto* edit = qobject_cast<QLineEdit*>(w)) {
        auto& model = static_cast<ui::TextBox&>(c);
        // Setting the length, even to the same value, puts the caret at the end of the text.
        if (const int maxLength = model.maxLength > 0 ? model.maxLength : 32767;
            edit->maxLength() != maxLength)
            edit->setMaxLength(maxLength);
        const QString text = shownText(*edit, qs(model.text()), edit->maxLength());
        if (edit->text() != text) edit->setText(text);
        if (edit->isReadOnly() != model.locked()) {
            edit->setReadOnly(model.locked());
            // A box that takes no typing looks it: the window's colour, not the field's.
            QPalette palette = edit->palette();
            palette.setColor(QPalette::Base,
                             root_->palette().color(model.locked() ? QPalette::Window : QPalette::Base));
            edit->setPalette(palette);
        }
    } else if (auto* combo = qobject_cast<QComboBox*>(w)) {
        auto& model = static_cast<ui::ComboBox&>(c);
        bool same = combo->count() == model.listCount();
        for (int i = 0; same && i < model.listCount(); ++i) same = combo->itemText(i) == qs(model.list(i));
        if (!same) {
            combo->clear();
            QStringList items;
            for (int i = 0; i < model.listCount(); ++i) items << qs(model.list(i));
            combo->addItems(items);
        }
        if (combo->currentIndex() != model.listIndex()) combo->setCurrentIndex(model.listIndex());
        if (combo->isEditable() && combo->currentText() != qs(model.text()))
            combo->setEditText(qs(model.text()));
        if (combo->lineEdit() != nullptr) combo->lineEdit()->setReadOnly(model.locked());
    } else if (auto* check = qobject_cast<QCheckBox*>(w)) {
        auto& model = static_cast<ui::CheckBox&>(c);
        check->setText(qs(c.caption()));
        check->setTristate(model.value() == 2);
        check->setCheckState(model.value() == 1   ? Qt::Checked
                             : model.value() == 2 ? Qt::PartiallyChecked
                                                  : Qt::Unchecked);
    } else if (auto* radio = qobject_cast<QRadioButton*>(w)) {
        auto& model = static_cast<ui::OptionButton&>(c);
        radio->setText(qs(c.caption()));
        radio->setChecked(model.value());
    } else if (auto* dateEdit = qobject_cast<QDateEdit*>(w)) {
        auto& model = static_cast<ui::DatePicker&>(c);
        const QDate d(model.value().year, model.value().month, model.value().day);
        if (d.isValid() && dateEdit->date() != d) dateEdit->setDate(d);
    }
}

void Binder::applyColumnWidths(Binding& b) {
    if (auto* tree = qobject_cast<QTreeView*>(b.widget.data()); tree != nullptr && b.listModel != nullptr) {
        auto& model = static_cast<ui::ListView&>(*b.control);
        for (int col = 0; col < model.columnCount() && col < b.listModel->columnCount(); ++col) {
            const int width = model.columnWidth(col);
            // A column laid out with no width is the list's hidden key column.
            tree->setColumnHidden(col, width <= 0);
            if (width <= 0) continue;
            // The laid-out width, widened so that the header and the rows in sight show whole
            // (the view measures only the rows in sight, so a long list costs nothing more).
            tree->resizeColumnToContents(col);
            tree->setColumnWidth(col, std::max({24, twipsToPixels(width), tree->columnWidth(col)}));
        }
    } else if (auto* table = qobject_cast<QTableView*>(b.widget.data());
               table != nullptr && b.gridModel != nullptr) {
        auto& model = static_cast<ui::FlexGrid&>(*b.control);
        for (int col = 0; col < model.cols() && col < b.gridModel->columnCount(); ++col) {
            const int width = model.colWidth(col);
            table->setColumnHidden(col, width == 0);
            if (width > 0) table->setColumnWidth(col, std::max(24, twipsToPixels(width)));
        }
    }
    if (auto* view = qobject_cast<QAbstractItemView*>(b.widget.data())) emit listLaidOut(view);
}

namespace {

bool holdsList(const QWidget* w) {
    return qobject_cast<const QAbstractItemView*>(w) != nullptr ||
           w->findChild<QAbstractItemView*>() != nullptr;
}

}  // namespace

// A disabled list in Qt neither scrolls nor selects, and greys its text: a read-only entry
// could not even be read. So lists, and frames that hold lists, stay enabled in Qt; every
// other widget is enabled as its control and the control's frames are. The models ignore
// whatever the user does to a control they have disabled.
void Binder::applyEnabled(Binding& b) {
    auto enabledWithin = [](const ui::Control& c) {
        for (const ui::Control* p = &c; p != nullptr; p = p->container())
            if (!p->enabled()) return false;
        return true;
    };
    auto apply = [&](Binding& one) {
        if (one.widget == nullptr) return;
        one.widget->setEnabled(holdsList(one.widget) || enabledWithin(*one.control));
    };
    apply(b);
    if (qobject_cast<QGroupBox*>(b.widget.data()) == nullptr) return;
    for (auto& other : bindings_)
        for (const ui::Control* p = other->control->container(); p != nullptr; p = p->container())
            if (p == b.control) {
                apply(*other);
                break;
            }
}

void Binder::refreshCurrent(Binding& b) {
    FromModel guard(fromModel_);
    if (auto* tree = qobject_cast<QTreeView*>(b.widget.data()); tree != nullptr && b.listModel != nullptr) {
        auto& model = static_cast<ui::ListView&>(*b.control);
        const int row = model.selectedIndex() - 1;
        if (row < 0 || row >= b.listModel->rowCount()) {
            tree->selectionModel()->clearSelection();
            tree->selectionModel()->setCurrentIndex(QModelIndex(), QItemSelectionModel::NoUpdate);
            return;
        }
        const QModelIndex index = b.listModel->index(row, 0);
        tree->selectionModel()->setCurrentIndex(
            index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        tree->scrollTo(index);
    } else if (auto* table = qobject_cast<QTableView*>(b.widget.data());
               table != nullptr && b.gridModel != nullptr) {
        auto& model = static_cast<ui::FlexGrid&>(*b.control);
        const int fixed = b.gridModel->fixedRows();
        const int row = model.row() - fixed;
        if (row < 0 || row >= b.gridModel->rowCount() || b.gridModel->columnCount() == 0) {
            table->selectionModel()->clearSelection();
            return;
        }
        const int col = std::clamp(model.col(), 0, b.gridModel->columnCount() - 1);
        const QModelIndex index = b.gridModel->index(row, col);
        table->selectionModel()->setCurrentIndex(
            index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        const int top = model.topRow() - fixed;
        if (top > 0 && top < b.gridModel->rowCount()) {
            table->scrollTo(b.gridModel->index(top, col), QAbstractItemView::PositionAtTop);
        }
        table->scrollTo(index);
    }
}

void Binder::flush() {
    for (auto& b : bindings_) {
        if (b->listModel != nullptr) b->listModel->flush();
        if (b->gridModel != nullptr) b->gridModel->flush();
    }
}

void Binder::focusWidgetOf(ui::Control& control) {
    Binding* b = bindingOf(control);
    if (b == nullptr || b->widget == nullptr || detached_) return;
    QWidget* w = b->widget;
    QWidget* focus = QApplication::focusWidget();
    if (focus != nullptr && controlOf(focus) == &control) return;
    FromModel guard(fromModel_);
    w->setFocus(Qt::OtherFocusReason);
}

void Binder::focusIn(QWidget* now) {
    if (detached_ || fromModel_ > 0 || now == nullptr || !root_->isAncestorOf(now)) return;
    ui::Control* control = controlOf(now);
    if (control == nullptr || control == form_.activeControl()) return;
    Binding* b = bindingOf(*control);
    user(*b, [control] { control->setFocus(); });
}

bool Binder::eventFilter(QObject* watched, QEvent* event) {
    if (detached_) return false;
    auto it = byWidget_.find(watched);
    if (it == byWidget_.end()) return false;
    Binding& b = *it->second;
    ui::Control& c = *b.control;

    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_F1) {
            user(b, [this] { form_.toolkit().showHelp(QtToolkit::moduleHelpFile()); });
            return true;
        }
        if (c.kind() == ui::Kind::TextBox) return textBoxKey(b, event);
        if (c.kind() == ui::Kind::ComboBox) return comboKey(b, event);
        if (c.kind() == ui::Kind::ListView) return listKey(b, event);
        if (c.kind() == ui::Kind::CheckBox || c.kind() == ui::Kind::OptionButton) {
            const int16_t ascii = isEnter(key) ? ui::vbKeyReturn : asciiOf(key);
            if (ascii == 0 || ascii == ' ') return formKey(event);
            user(b, [&] {
                int16_t k = ascii;
                if (auto* check = dynamic_cast<ui::CheckBox*>(&c)) check->userKey(k);
                if (auto* option = dynamic_cast<ui::OptionButton*>(&c)) option->userKey(k);
            });
            return true;
        }
        if (c.kind() == ui::Kind::DatePicker) {
            const int code = classicKeyCode(key->key());
            if (code == 0 || code == 9) return false;
            auto& model = static_cast<ui::DatePicker&>(c);
            user(b, [&] { model.userKeyDown(static_cast<int16_t>(code)); });
            return isEnter(key);
        }
        if (c.kind() == ui::Kind::FlexGrid) {
            auto& model = static_cast<ui::FlexGrid&>(c);
            if (controlCodeOf(key) != 0) return formKey(event);
            if (const int code = classicKeyCode(key->key()); code != 0 && code != 9)
                user(b, [&] { model.userKeyDown(static_cast<int16_t>(code)); });
            formKey(event);
            return false;  // the arrows move the current cell
        }
        if (c.kind() == ui::Kind::CommandButton && isEnter(key)) {
            static_cast<QPushButton*>(b.widget.data())->click();
            return true;
        }
        return formKey(event);
    }

    // A combo locked by the screen shows its value and takes no choice.
    if (c.kind() == ui::Kind::ComboBox && static_cast<ui::ComboBox&>(c).locked() &&
        (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick ||
         event->type() == QEvent::Wheel)) {
        return true;
    }

    if (c.kind() == ui::Kind::FlexGrid && event->type() == QEvent::MouseButtonDblClick) {
        auto& model = static_cast<ui::FlexGrid&>(c);
        user(b, [&] { model.userDblClick(); });
        return false;
    }

    if (c.kind() == ui::Kind::ListView && b.listModel != nullptr) {
        auto& model = static_cast<ui::ListView&>(c);
        auto* tree = static_cast<QTreeView*>(b.widget.data());
        if (event->type() == QEvent::MouseButtonPress) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            if (mouse->button() == Qt::RightButton) {
                const QModelIndex index = tree->indexAt(mouse->position().toPoint());
                tree->setFocus(Qt::MouseFocusReason);
                if (index.isValid() && index.row() + 1 != model.selectedIndex()) {
                    user(b, [&] { model.userSelectRow(index.row() + 1); });
                }
                user(b, [&] { model.userRightClick(); });
                return true;
            }
        } else if (event->type() == QEvent::MouseButtonDblClick) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            if (mouse->button() == Qt::LeftButton) {
                // The tick box takes its own double click; elsewhere it is the list's.
                const QModelIndex index = tree->indexAt(mouse->position().toPoint());
                if (index.isValid() && index.row() + 1 != model.selectedIndex())
                    user(b, [&] { model.userSelectRow(index.row() + 1); });
                user(b, [&] { model.userDblClick(); });
                return true;
            }
        }
    }
    return false;
}

bool Binder::textBoxKey(Binding& b, QEvent* event) {
    auto* key = static_cast<QKeyEvent*>(event);
    auto& model = static_cast<ui::TextBox&>(*b.control);
    auto* edit = static_cast<QLineEdit*>(b.widget.data());

    // The model types at the widget's cursor.
    auto syncSelection = [&] {
        FromModel guard(fromModel_);
        const QString text = edit->text();
        int start = edit->cursorPosition(), length = 0;
        if (edit->hasSelectedText()) {
            start = edit->selectionStart();
            length = toModelPos(text, start + static_cast<int>(edit->selectedText().size())) -
                     toModelPos(text, start);
        }
        model.setSelStart(toModelPos(text, start));
        model.setSelLength(length);
    };

    if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) return false;
    if (isEnter(key)) {
        user(b, [&] { model.userKey(ui::vbKeyReturn); });
        return true;
    }
    if (key->key() == Qt::Key_Backspace && (key->modifiers() & Qt::ControlModifier) == 0) {
        syncSelection();
        user(b, [&] { model.userKey(ui::vbKeyBack); });
        return true;
    }
    if (const int16_t ascii = asciiOf(key); ascii != 0) {
        syncSelection();
        user(b, [&] { model.userKey(ascii); });
        return true;
    }
    if (const QString typed = typedBeyondAscii(key); !typed.isEmpty()) {
        syncSelection();
        user(b, [&] { model.userType(typed.toStdString()); });
        return true;
    }
    if (const int16_t control = controlCodeOf(key); control != 0) {
        // Clipboard and undo keys edit the text as the widget does (then handed over as a
        // paste); other control keys belong to the form.
        if (key->matches(QKeySequence::Copy) || key->matches(QKeySequence::Cut) ||
            key->matches(QKeySequence::Paste) || key->matches(QKeySequence::SelectAll) ||
            key->matches(QKeySequence::Undo) || key->matches(QKeySequence::Redo))
            return false;
        return formKey(event);
    }
    if (const int code = classicKeyCode(key->key()); code != 0) {
        // Delete removes the widget's selection in the model, which the widget then shows;
        // arrows and the rest go on to the widget.
        syncSelection();
        user(b, [&] { model.userKeyDown(static_cast<int16_t>(code)); });
        return code == ui::vbKeyDelete;
    }
    return false;
}

bool Binder::comboKey(Binding& b, QEvent* event) {
    auto* key = static_cast<QKeyEvent*>(event);
    auto& model = static_cast<ui::ComboBox&>(*b.control);
    if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) return false;
    if (isEnter(key)) {
        user(b, [&] { model.userKey(ui::vbKeyReturn); });
        return true;
    }
    if (model.locked()) return key->key() != Qt::Key_Escape;
    // Typed characters go through the model: a drop-down list moves to the next item with
    // that letter, an editable combo takes the character into its text.
    if (const int16_t ascii = asciiOf(key); ascii != 0) {
        user(b, [&] { model.userKey(ascii); });
        return true;
    }
    if (key->key() == Qt::Key_Backspace && model.style() == ui::ComboBox::Style::DropDownCombo) {
        user(b, [&] { model.userKey(ui::vbKeyBack); });
        return true;
    }
    if (controlCodeOf(key) != 0 && !key->matches(QKeySequence::Copy) && !key->matches(QKeySequence::Paste))
        return formKey(event);
    // The arrows move through the items; the widget reports the choice through activated.
    return false;
}

bool Binder::listKey(Binding& b, QEvent* event) {
    auto* key = static_cast<QKeyEvent*>(event);
    auto& model = static_cast<ui::ListView&>(*b.control);
    if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) return false;
    const int code = classicKeyCode(key->key());
    if (code == 0) return formKey(event);
    if (code == 32) return false;  // Space ticks the row through the view
    if (controlCodeOf(key) != 0) return formKey(event);
    user(b, [&] { model.userKeyDown(static_cast<int16_t>(code)); });
    // Enter and Delete belong to the screen; the arrows also move the selection.
    return code == 13 || code == 46;
}

bool Binder::formKey(QEvent* event) {
    auto* key = static_cast<QKeyEvent*>(event);
    if (!form_.keyPreview) return false;
    int16_t code = controlCodeOf(key);
    if (code == 0) code = asciiOf(key);
    if (code == 0) return false;
    const bool control = controlCodeOf(key) != 0;
    Binding* any = bindings_.empty() ? nullptr : bindings_.front().get();
    if (any == nullptr) return false;
    user(*any, [&] { form_.userKeyPress(code); });
    // Control keys have no meaning of their own in these widgets.
    return control;
}

}  // namespace qtui

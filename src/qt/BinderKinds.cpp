#include <QAbstractItemView>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QTreeView>

#include "qt/BinderSupport.h"
#include "qt/ItemLook.h"
#include "qt/ItemModels.h"

namespace qtui {

using namespace binder;

namespace {

template <class W>
bool isA(const QWidget* w) {
    return qobject_cast<const W*>(w) != nullptr;
}

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

}  // namespace

const Binder::KindBinding* Binder::kindBinding(ui::Kind kind) {
    // No default: a kind missing here is a compile error (-Wswitch, warnings as errors).
    switch (kind) {
        case ui::Kind::Label: {
            static const KindBinding k{isA<QLabel>, &Binder::connectLabel, &Binder::showLabel};
            return &k;
        }
        case ui::Kind::Frame: {
            static const KindBinding k{isA<QGroupBox>, nullptr, &Binder::showCaption};
            return &k;
        }
        case ui::Kind::CommandButton: {
            static const KindBinding k{isA<QPushButton>, &Binder::connectButton, &Binder::showCaption,
                                       &Binder::buttonKey};
            return &k;
        }
        case ui::Kind::TextBox: {
            static const KindBinding k{isA<QLineEdit>, &Binder::connectTextBox, &Binder::showTextBox,
                                       &Binder::textBoxKey};
            return &k;
        }
        case ui::Kind::ComboBox: {
            static const KindBinding k{isA<QComboBox>, &Binder::connectCombo, &Binder::showCombo,
                                       &Binder::comboKey, &Binder::comboMouse};
            return &k;
        }
        case ui::Kind::CheckBox: {
            static const KindBinding k{isA<QCheckBox>, &Binder::connectCheckBox, &Binder::showCheckBox,
                                       &Binder::toggleKey};
            return &k;
        }
        case ui::Kind::OptionButton: {
            static const KindBinding k{isA<QRadioButton>, &Binder::connectOption, &Binder::showOption,
                                       &Binder::toggleKey};
            return &k;
        }
        case ui::Kind::DatePicker: {
            static const KindBinding k{isA<QDateEdit>, &Binder::connectDate, &Binder::showDate,
                                       &Binder::dateKey};
            return &k;
        }
        case ui::Kind::ListView: {
            static const KindBinding k{isA<QTreeView>, &Binder::connectList, nullptr, &Binder::listKey,
                                       &Binder::listMouse};
            return &k;
        }
        case ui::Kind::FlexGrid: {
            static const KindBinding k{isA<QTableView>, &Binder::connectGrid, nullptr, &Binder::gridKey,
                                       &Binder::gridMouse};
            return &k;
        }
        case ui::Kind::Menu:
        case ui::Kind::MenuItem:
            return nullptr;
    }
    return nullptr;
}

void Binder::connectLabel(Binding& b) {
    b.labelHasBuddy = static_cast<QLabel*>(b.widget.data())->buddy() != nullptr;
}

void Binder::connectButton(Binding& b) {
    auto* button = static_cast<QPushButton*>(b.widget.data());
    // Enter in a field must never press a button behind the user's back.
    button->setAutoDefault(false);
    button->setDefault(false);
    auto& model = static_cast<ui::CommandButton&>(*b.control);
    connect(button, &QPushButton::clicked, this, [this, &b, &model] { user(b, [&] { model.userClick(); }); });
}

void Binder::connectTextBox(Binding& b) {
    auto* edit = static_cast<QLineEdit*>(b.widget.data());
    auto& model = static_cast<ui::TextBox&>(*b.control);
    // Keys are routed through the model; what reaches the widget otherwise (paste, cut,
    // undo, Delete) is handed over as a paste.
    connect(edit, &QLineEdit::textEdited, this, [this, &b, &model](const QString& text) {
        if (text.toStdString() != model.text()) user(b, [&] { model.userPaste(text.toStdString()); });
    });
}

void Binder::connectCombo(Binding& b) {
    auto* combo = static_cast<QComboBox*>(b.widget.data());
    auto& model = static_cast<ui::ComboBox&>(*b.control);
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
}

void Binder::connectCheckBox(Binding& b) {
    auto& model = static_cast<ui::CheckBox&>(*b.control);
    connect(static_cast<QCheckBox*>(b.widget.data()), &QCheckBox::clicked, this,
            [this, &b, &model] { user(b, [&] { model.userClick(); }); });
}

void Binder::connectOption(Binding& b) {
    auto* radio = static_cast<QRadioButton*>(b.widget.data());
    auto& model = static_cast<ui::OptionButton&>(*b.control);
    // The model clears the other buttons of its container.
    radio->setAutoExclusive(false);
    connect(radio, &QRadioButton::clicked, this,
            [this, &b, &model] { user(b, [&] { model.userSet(true); }); });
}

void Binder::connectDate(Binding& b) {
    auto* dateEdit = static_cast<QDateEdit*>(b.widget.data());
    auto& model = static_cast<ui::DatePicker&>(*b.control);
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
}

void Binder::connectList(Binding& b) {
    auto* tree = static_cast<QTreeView*>(b.widget.data());
    auto& model = static_cast<ui::ListView&>(*b.control);
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
    b.listModel->onUserToggle = [this, &b, &model](int row) { user(b, [&] { model.userToggle(row + 1); }); };
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
}

void Binder::connectGrid(Binding& b) {
    auto* table = static_cast<QTableView*>(b.widget.data());
    auto& model = static_cast<ui::FlexGrid&>(*b.control);
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

void Binder::showLabel(Binding& b) {
    const ui::Control& c = *b.control;
    const QString caption = shownCaption(qs(form_.name()), qs(c.name()), qs(c.caption()));
    static_cast<QLabel*>(b.widget.data())->setText(b.labelHasBuddy ? caption : withoutMnemonic(caption));
}

void Binder::showCaption(Binding& b) {
    const QString caption = qs(b.control->caption());
    if (auto* group = qobject_cast<QGroupBox*>(b.widget.data())) group->setTitle(caption);
    if (auto* button = qobject_cast<QPushButton*>(b.widget.data())) button->setText(caption);
}

void Binder::showTextBox(Binding& b) {
    auto* edit = static_cast<QLineEdit*>(b.widget.data());
    auto& model = static_cast<ui::TextBox&>(*b.control);
    // Setting the length, even to the same value, puts the caret at the end of the text.
    if (const int maxLength = model.maxLength > 0 ? model.maxLength : 32767; edit->maxLength() != maxLength)
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
}

void Binder::showCombo(Binding& b) {
    auto* combo = static_cast<QComboBox*>(b.widget.data());
    auto& model = static_cast<ui::ComboBox&>(*b.control);
    bool same = combo->count() == model.listCount();
    for (int i = 0; same && i < model.listCount(); ++i) same = combo->itemText(i) == qs(model.list(i));
    if (!same) {
        combo->clear();
        QStringList items;
        for (int i = 0; i < model.listCount(); ++i) items << qs(model.list(i));
        combo->addItems(items);
    }
    if (combo->currentIndex() != model.listIndex()) combo->setCurrentIndex(model.listIndex());
    if (combo->isEditable() && combo->currentText() != qs(model.text())) combo->setEditText(qs(model.text()));
    if (combo->lineEdit() != nullptr) combo->lineEdit()->setReadOnly(model.locked());
}

void Binder::showCheckBox(Binding& b) {
    auto* check = static_cast<QCheckBox*>(b.widget.data());
    auto& model = static_cast<ui::CheckBox&>(*b.control);
    check->setText(qs(model.caption()));
    check->setTristate(model.value() == 2);
    check->setCheckState(model.value() == 1   ? Qt::Checked
                         : model.value() == 2 ? Qt::PartiallyChecked
                                              : Qt::Unchecked);
}

void Binder::showOption(Binding& b) {
    auto* radio = static_cast<QRadioButton*>(b.widget.data());
    auto& model = static_cast<ui::OptionButton&>(*b.control);
    radio->setText(qs(model.caption()));
    radio->setChecked(model.value());
}

void Binder::showDate(Binding& b) {
    auto* dateEdit = static_cast<QDateEdit*>(b.widget.data());
    auto& model = static_cast<ui::DatePicker&>(*b.control);
    const QDate d(model.value().year, model.value().month, model.value().day);
    if (d.isValid() && dateEdit->date() != d) dateEdit->setDate(d);
}

}  // namespace qtui

#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QTreeView>

#include "qt/BinderSupport.h"
#include "qt/ItemModels.h"
#include "qt/QtToolkit.h"

namespace qtui {

using namespace binder;

namespace {

// A typed character beyond ASCII (an Arabic letter, an emoji): the models take it as typed
// text, so it goes through KeyPress like any other key.
QString typedBeyondAscii(const QKeyEvent* k) {
    if (k->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return {};
    const QString t = k->text();
    const auto chars = t.toUcs4();
    if (chars.size() != 1 || chars[0] < 0xA0) return {};
    return t;
}

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

bool Binder::eventFilter(QObject* watched, QEvent* event) {
    if (detached_) return false;
    auto it = byWidget_.find(watched);
    if (it == byWidget_.end()) return false;
    Binding& b = *it->second;
    const KindBinding& kind = *kindBinding(b.control->kind());
    if (event->type() == QEvent::KeyPress) {
        if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_F1) {
            user(b, [this] { form_.toolkit().showHelp(QtToolkit::moduleHelpFile()); });
            return true;
        }
        return kind.key != nullptr ? (this->*kind.key)(b, event) : formKey(event);
    }
    return kind.mouse != nullptr && (this->*kind.mouse)(b, event);
}

bool Binder::buttonKey(Binding& b, QEvent* event) {
    if (!isEnter(static_cast<QKeyEvent*>(event))) return formKey(event);
    static_cast<QPushButton*>(b.widget.data())->click();
    return true;
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

bool Binder::toggleKey(Binding& b, QEvent* event) {
    auto* key = static_cast<QKeyEvent*>(event);
    const int16_t ascii = isEnter(key) ? ui::vbKeyReturn : asciiOf(key);
    if (ascii == 0 || ascii == ' ') return formKey(event);
    ui::Control& c = *b.control;
    user(b, [&] {
        int16_t k = ascii;
        if (c.kind() == ui::Kind::CheckBox) static_cast<ui::CheckBox&>(c).userKey(k);
        if (c.kind() == ui::Kind::OptionButton) static_cast<ui::OptionButton&>(c).userKey(k);
    });
    return true;
}

bool Binder::dateKey(Binding& b, QEvent* event) {
    auto* key = static_cast<QKeyEvent*>(event);
    const int code = classicKeyCode(key->key());
    if (code == 0 || code == 9) return false;
    auto& model = static_cast<ui::DatePicker&>(*b.control);
    user(b, [&] { model.userKeyDown(static_cast<int16_t>(code)); });
    return isEnter(key);
}

bool Binder::gridKey(Binding& b, QEvent* event) {
    auto* key = static_cast<QKeyEvent*>(event);
    auto& model = static_cast<ui::FlexGrid&>(*b.control);
    if (controlCodeOf(key) != 0) return formKey(event);
    if (const int code = classicKeyCode(key->key()); code != 0 && code != 9)
        user(b, [&] { model.userKeyDown(static_cast<int16_t>(code)); });
    formKey(event);
    return false;  // the arrows move the current cell
}

// A combo locked by the screen shows its value and takes no choice.
bool Binder::comboMouse(Binding& b, QEvent* event) {
    return static_cast<ui::ComboBox&>(*b.control).locked() &&
           (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick ||
            event->type() == QEvent::Wheel);
}

bool Binder::gridMouse(Binding& b, QEvent* event) {
    if (event->type() == QEvent::MouseButtonDblClick) {
        auto& model = static_cast<ui::FlexGrid&>(*b.control);
        user(b, [&] { model.userDblClick(); });
    }
    return false;
}

bool Binder::listMouse(Binding& b, QEvent* event) {
    if (b.listModel == nullptr) return false;
    auto& model = static_cast<ui::ListView&>(*b.control);
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
    return false;
}

}  // namespace qtui

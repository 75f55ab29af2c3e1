#pragma once
// What the binder's sources share: text and position conversions between the models and
// the widgets, the keys a widget reports as the classic codes, and the run of a user action.
// Private to Binder*.cpp.
#include <QApplication>
#include <QDate>
#include <QKeyEvent>
#include <QString>
#include <QWidget>
#include <exception>
#include <string>
#include <utility>

#include "common/DateTime.h"
#include "common/Error.h"
#include "common/Utf8.h"
#include "qt/Binder.h"

namespace qtui::binder {

inline QString qs(const std::string& s) { return QString::fromStdString(s); }

// Counts a change shown from the models, so that widget signals it causes are not taken
// for the user's.
struct FromModel {
    explicit FromModel(int& n) : n_(n) { ++n_; }
    ~FromModel() { --n_; }
    FromModel(const FromModel&) = delete;
    FromModel& operator=(const FromModel&) = delete;
    int& n_;
};

// The models count characters; QLineEdit counts UTF-16 units (two for an emoji).
inline int toWidgetPos(const std::string& text, int charPos) {
    if (charPos <= 0) return 0;
    const size_t n = common::utf8Offset(text, static_cast<size_t>(charPos));
    return static_cast<int>(QString::fromUtf8(text.data(), static_cast<qsizetype>(n)).size());
}
inline int toModelPos(const QString& text, int widgetPos) {
    return static_cast<int>(text.left(widgetPos).toUcs4().size());
}

inline common::DateTime toDateTime(const QDate& d) {
    return common::DateTime::ymd(d.year(), d.month(), d.day());
}

// A typed character the models take key by key (ASCII, as the classic KeyAscii).
inline int16_t asciiOf(const QKeyEvent* k) {
    if (k->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return 0;
    const QString t = k->text();
    if (t.size() != 1) return 0;
    const char16_t c = t[0].unicode();
    return (c >= 0x20 && c < 0x7F) ? static_cast<int16_t>(c) : 0;
}

// Ctrl+A .. Ctrl+Z give the control codes 1 .. 26, as the classic KeyPress saw them.
inline int16_t controlCodeOf(const QKeyEvent* k) {
    if ((k->modifiers() & Qt::ControlModifier) == 0 || (k->modifiers() & Qt::AltModifier)) return 0;
    if (k->key() >= Qt::Key_A && k->key() <= Qt::Key_Z) return static_cast<int16_t>(k->key() - Qt::Key_A + 1);
    return 0;
}

inline bool isEnter(const QKeyEvent* k) { return k->key() == Qt::Key_Return || k->key() == Qt::Key_Enter; }

}  // namespace qtui::binder

namespace qtui {

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
    root_->setWindowTitle(binder::qs(form_.caption()));
}

}  // namespace qtui

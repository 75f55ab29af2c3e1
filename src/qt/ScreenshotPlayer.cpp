#include "qt/ScreenshotPlayer.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "qt/Binder.h"
#include "qt/QtToolkit.h"
#include "ui/Controls.h"

namespace qtui {

namespace {

constexpr int kStepMs = 250;

std::string unquote(std::string s) {
    s = common::Trim(s);
    if (s.size() >= 2 && s.front() == '"' && s.back() == '"') s = s.substr(1, s.size() - 2);
    return s;
}

// Splits "command NAME rest of line".
void split(const std::string& line, std::string& command, std::string& name, std::string& rest) {
    std::string t = common::Trim(line);
    auto sp = t.find(' ');
    command = t.substr(0, sp);
    t = sp == std::string::npos ? "" : common::Trim(t.substr(sp + 1));
    sp = t.find(' ');
    name = t.substr(0, sp);
    rest = sp == std::string::npos ? "" : unquote(t.substr(sp + 1));
}

}  // namespace

ScreenshotPlayer::ScreenshotPlayer(QtToolkit& toolkit, const std::string& scriptFile, std::string outDir)
    : toolkit_(toolkit), outDir_(std::move(outDir)) {
    std::ifstream in(scriptFile);
    if (!in) fail("cannot read " + scriptFile);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines_.push_back(line);
    }
    QDir().mkpath(QString::fromStdString(outDir_));
}

void ScreenshotPlayer::start() { schedule(kStepMs * 2); }

void ScreenshotPlayer::schedule(int ms) {
    QTimer::singleShot(ms, this, [this] { step(); });
}

void ScreenshotPlayer::fail(const std::string& why) {
    failed_ = true;
    std::cerr << "screenshot script: " << why << '\n';
}

ui::Control* ScreenshotPlayer::control(const std::string& name) const {
    FormDialog* top = toolkit_.topWindow();
    if (top == nullptr) return nullptr;
    auto dot = name.find('.');
    if (dot == std::string::npos) return top->form().find(name);
    // Form.control: a form further down the stack.
    for (QWidget* w : QApplication::topLevelWidgets()) {
        auto* dialog = qobject_cast<FormDialog*>(w);
        if (dialog != nullptr && !dialog->formUnloaded() &&
            common::EqualsNoCase(dialog->form().name(), name.substr(0, dot)))
            return dialog->form().find(name.substr(dot + 1));
    }
    return nullptr;
}

void ScreenshotPlayer::step() {
    if (handleMessageBox() || handlePopup()) {
        schedule(kStepMs);
        return;
    }
    if (next_ >= lines_.size()) {
        finish();
        return;
    }
    const std::string line = lines_[next_++];
    // Scheduled first: a line that opens a modal window returns only when it closes, and the
    // script goes on inside that window's loop.
    schedule(kStepMs);
    runLine(line);
}

bool ScreenshotPlayer::handleMessageBox() {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr) return false;
    if (next_ < lines_.size()) {
        const std::string t = common::Trim(lines_[next_]);
        if (t.rfind("# screenshot ", 0) == 0) {
            ++next_;
            screenshot(common::Trim(t.substr(13)));
            return true;
        }
    }
    QAbstractButton* button = nullptr;
    if (box->buttons().size() == 1) {
        button = box->buttons().front();
    } else if (!answers_.empty()) {
        const std::string answer = common::LCase(answers_.front());
        answers_.pop_front();
        for (QAbstractButton* b : box->buttons())
            if (common::LCase(b->text().remove('&').toStdString()) == answer) button = b;
    } else if (next_ >= lines_.size()) {
        // Closing at the end: let go of whatever is open.
        button = box->button(QMessageBox::Yes);
    }
    if (button == nullptr) {
        fail("no answer for the message \"" + box->text().toStdString() + "\"");
        button = box->escapeButton() != nullptr ? box->escapeButton() : box->buttons().back();
    }
    button->click();
    return true;
}

bool ScreenshotPlayer::handlePopup() {
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    if (menu == nullptr) return false;
    std::string command, name, rest;
    if (next_ < lines_.size()) {
        const std::string t = common::Trim(lines_[next_]);
        if (t.rfind("# screenshot ", 0) == 0) {
            ++next_;
            screenshot(common::Trim(t.substr(13)));
            return true;
        }
        split(t, command, name, rest);
    }
    QAction* chosen = nullptr;
    if (command == "click") {
        for (QAction* a : menu->actions())
            if (common::EqualsNoCase(a->objectName().toStdString(), name)) chosen = a;
    }
    if (chosen == nullptr) {
        menu->close();
        return true;
    }
    ++next_;
    menu->setActiveAction(chosen);
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(menu, &press);
    return true;
}

void ScreenshotPlayer::finish() {
    FormDialog* top = toolkit_.topWindow();
    if (top == nullptr) return;  // every form closed: Show returns
    if (++closingTicks_ > 40) {
        fail("the forms would not close");
        std::_Exit(1);
    }
    schedule(kStepMs);
    top->form().userClose();
}

void ScreenshotPlayer::runLine(const std::string& raw) {
    const std::string line = common::Trim(raw);
    if (line.rfind("# screenshot ", 0) == 0) {
        screenshot(common::Trim(line.substr(13)));
        return;
    }
    if (line.empty() || line[0] == '#') return;
    std::string command, name, rest;
    split(line, command, name, rest);
    if (command == "answer") {
        answers_.push_back(name);
        return;
    }
    if (command == "close") {
        // A window of the front end's own over the forms (the print preview) closes first.
        QWidget* modal = QApplication::activeModalWidget();
        if (modal != nullptr && qobject_cast<FormDialog*>(modal) == nullptr) {
            modal->close();
            return;
        }
        if (FormDialog* top = toolkit_.topWindow()) top->form().userClose();
        return;
    }
    if (command.rfind("expect", 0) == 0 || command == "dump") return;  // the script runner's part

    ui::Control* c = control(name);
    if (c == nullptr) {
        fail("no control " + name + " (line " + std::to_string(next_) + ")");
        return;
    }
    const int number = static_cast<int>(common::Val(rest));
    if (command == "click") {
        if (auto* b = dynamic_cast<ui::CommandButton*>(c)) {
            // Through the widget, as a person clicks it.
            FormDialog* top = toolkit_.windowOf(c->form());
            auto* button = top != nullptr ? qobject_cast<QPushButton*>(top->binder().widgetOf(*c)) : nullptr;
            if (button != nullptr) {
                button->click();
            } else {
                b->userClick();
            }
        } else if (auto* m = dynamic_cast<ui::MenuItem*>(c)) {
            m->userClick();
        } else if (auto* k = dynamic_cast<ui::CheckBox*>(c)) {
            k->userClick();
        }
    } else if (command == "select") {
        if (auto* combo = dynamic_cast<ui::ComboBox*>(c); combo != nullptr && !combo->userSelectText(rest))
            fail("no item " + rest + " in " + name);
    } else if (command == "set") {
        if (auto* t = dynamic_cast<ui::TextBox*>(c)) t->userPaste(rest);
        if (auto* d = dynamic_cast<ui::DatePicker*>(c)) d->userSet(common::toDate(rest));
    } else if (command == "type") {
        if (auto* t = dynamic_cast<ui::TextBox*>(c)) t->userType(rest);
    } else if (command == "tick") {
        if (auto* l = dynamic_cast<ui::ListView*>(c)) l->userToggle(number);
    } else if (command == "check") {
        if (auto* k = dynamic_cast<ui::CheckBox*>(c)) k->userSet(number);
        if (auto* o = dynamic_cast<ui::OptionButton*>(c)) o->userSet(number != 0);
    } else if (command == "row") {
        if (auto* l = dynamic_cast<ui::ListView*>(c)) l->userSelectRow(number);
        if (auto* g = dynamic_cast<ui::FlexGrid*>(c)) g->userSelectCell(number, g->col());
    } else if (command == "key") {
        if (auto* t = dynamic_cast<ui::TextBox*>(c)) t->userKey(static_cast<int16_t>(number));
        if (auto* l = dynamic_cast<ui::ListView*>(c)) l->userKeyDown(static_cast<int16_t>(number));
    } else if (command == "popup") {
        if (auto* l = dynamic_cast<ui::ListView*>(c)) l->userRightClick();
    } else if (command == "dblclick") {
        if (auto* l = dynamic_cast<ui::ListView*>(c)) l->userDblClick();
        if (auto* g = dynamic_cast<ui::FlexGrid*>(c)) g->userDblClick();
    } else {
        fail("unknown command " + command);
    }
}

void ScreenshotPlayer::screenshot(const std::string& name) {
    QWidget* top = toolkit_.topWindow();
    if (top != nullptr) {
        for (auto& w : QApplication::topLevelWidgets())
            if (auto* dialog = qobject_cast<FormDialog*>(w)) dialog->binder().flush();
    }
    QApplication::processEvents();
    // The screen shows the form with whatever box or menu is open over it.
    QRect area = top != nullptr ? top->frameGeometry() : QRect();
    for (QWidget* w : {QApplication::activeModalWidget(), QApplication::activePopupWidget()})
        if (w != nullptr && w != top) area = area.united(w->frameGeometry());
    QPixmap picture;
    if (QScreen* screen = QGuiApplication::primaryScreen(); screen != nullptr && area.isValid())
        picture = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height());
    if (picture.isNull() && top != nullptr) picture = top->grab();
    const QString file =
        QDir(QString::fromStdString(outDir_)).filePath(QString::fromStdString(name) + ".png");
    if (picture.isNull() || !picture.save(file)) fail("cannot save " + file.toStdString());
}

}  // namespace qtui

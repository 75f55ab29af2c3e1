#include "qt/ScreenshotPlayer.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "qt/Binder.h"
#include "qt/QtToolkit.h"
#include "ui/Controls.h"

namespace qtui {

namespace {

constexpr int kStepMs = 250;

// The user's answer as the button of a message box reads.
std::string answerText(int answer) {
    switch (answer) {
        case ui::vbYes:
            return "yes";
        case ui::vbNo:
            return "no";
        case ui::vbOK:
            return "ok";
        default:
            return "cancel";
    }
}

}  // namespace

// The open windows as the user actions see them.
class ScreenshotPlayer::Host : public ui::UserActions::Host {
public:
    Host(QtToolkit& toolkit, std::deque<std::string>& answers) : toolkit_(toolkit), answers_(answers) {}
    ui::Form* topForm() const override {
        FormDialog* top = toolkit_.topWindow();
        return top != nullptr ? &top->form() : nullptr;
    }
    ui::Form* findForm(const std::string& name) const override {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            auto* dialog = qobject_cast<FormDialog*>(w);
            if (dialog != nullptr && !dialog->formUnloaded() &&
                common::EqualsNoCase(dialog->form().name(), name))
                return &dialog->form();
        }
        return nullptr;
    }
    void queueAnswer(int answer) override { answers_.push_back(answerText(answer)); }
    // Through the widget, as a person clicks it.
    void press(ui::CommandButton& b) override {
        FormDialog* window = toolkit_.windowOf(b.form());
        auto* button = window != nullptr ? qobject_cast<QPushButton*>(window->binder().widgetOf(b)) : nullptr;
        if (button != nullptr)
            button->click();
        else
            b.userClick();
    }

private:
    QtToolkit& toolkit_;
    std::deque<std::string>& answers_;
};

ScreenshotPlayer::ScreenshotPlayer(QtToolkit& toolkit, const std::string& scriptFile, std::string outDir)
    : toolkit_(toolkit),
      host_(std::make_unique<Host>(toolkit, answers_)),
      actions_(std::make_unique<ui::UserActions>(*host_)),
      outDir_(std::move(outDir)) {
    std::ifstream in(scriptFile);
    if (!in) fail("cannot read " + scriptFile);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (lines_.empty() && line.rfind("\xEF\xBB\xBF", 0) == 0) line.erase(0, 3);
        lines_.push_back(line);
    }
    QDir().mkpath(QString::fromStdString(outDir_));
}

ScreenshotPlayer::~ScreenshotPlayer() = default;

void ScreenshotPlayer::start() { schedule(kStepMs * 2); }

void ScreenshotPlayer::schedule(int ms) {
    QTimer::singleShot(ms, this, [this] { step(); });
}

void ScreenshotPlayer::fail(const std::string& why) {
    failed_ = true;
    std::cerr << "screenshot script: " << why << '\n';
}

void ScreenshotPlayer::step() {
    // Long work shows its progress and takes no lines until it is done.
    if (qobject_cast<QProgressDialog*>(QApplication::activeModalWidget()) != nullptr) {
        schedule(kStepMs);
        return;
    }
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
    ui::ScriptLine next;
    if (next_ < lines_.size()) {
        const std::string t = common::Trim(lines_[next_]);
        if (t.rfind("# screenshot ", 0) == 0) {
            ++next_;
            screenshot(common::Trim(t.substr(13)));
            return true;
        }
        try {
            if (!t.empty() && t[0] != '#') next = ui::parseScriptLine(t, ui::UserActions::syntax());
        } catch (const ui::ActionFailed&) {
            // Not a menu click: the menu closes and the line runs as usual.
        }
    }
    QAction* chosen = nullptr;
    if (next.command == "click") {
        for (QAction* a : menu->actions())
            if (common::EqualsNoCase(a->objectName().toStdString(), next.args[0])) chosen = a;
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
    // The expectations are the script runner's part.
    const std::string command = line.substr(0, line.find_first_of(" \t"));
    if (command == "widget") {
        runWidgetLine(line);
        return;
    }
    if (command.rfind("expect", 0) == 0 || command == "dump") return;
    if (command == "close") {
        // A window of the front end's own over the forms (the print preview) closes first.
        QWidget* modal = QApplication::activeModalWidget();
        if (modal != nullptr && qobject_cast<FormDialog*>(modal) == nullptr) {
            modal->close();
            return;
        }
    }
    try {
        actions_->run(ui::parseScriptLine(line, ui::UserActions::syntax()));
    } catch (const ui::ActionFailed& f) {
        fail(f.message + " (line " + std::to_string(next_) + ")");
    }
}

void ScreenshotPlayer::runWidgetLine(const std::string& line) {
    // "widget click NAME" or "widget set NAME TEXT" on the window of the front end's own that
    // is open (the month-end posting's dialogs): they have no control models to drive.
    std::vector<std::string> words;
    std::istringstream in(line);
    for (std::string word; in >> word;) words.push_back(word);
    QWidget* window = QApplication::activeModalWidget();
    if (words.size() < 3 || window == nullptr) {
        fail("cannot run \"" + line + "\" (line " + std::to_string(next_) + ")");
        return;
    }
    const QString name = QString::fromStdString(words[2]);
    std::string text;
    for (size_t i = 3; i < words.size(); ++i) text += (i > 3 ? " " : "") + words[i];
    QWidget* target = window->findChild<QWidget*>(name);
    if (auto* button = qobject_cast<QAbstractButton*>(target); button != nullptr && words[1] == "click") {
        button->click();
    } else if (auto* edit = qobject_cast<QLineEdit*>(target); edit != nullptr && words[1] == "set") {
        edit->setText(QString::fromStdString(text));
    } else if (auto* date = qobject_cast<QDateEdit*>(target); date != nullptr && words[1] == "set") {
        date->setDate(QDate::fromString(QString::fromStdString(text), "dd/MM/yyyy"));
    } else if (auto* combo = qobject_cast<QComboBox*>(target); combo != nullptr && words[1] == "set") {
        combo->setCurrentText(QString::fromStdString(text));
    } else {
        fail("no widget to " + words[1] + " called " + words[2] + " (line " + std::to_string(next_) + ")");
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

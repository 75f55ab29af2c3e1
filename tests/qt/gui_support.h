#pragma once
// GUI test fixture: the binary's one QApplication (offscreen), a fresh demo database and a module
// whose screens are shown through the Qt toolkit.
#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../TestSupport.h"
#include "qt/Binder.h"
#include "qt/QtToolkit.h"

// Texts in failure messages as they read.
inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }

namespace guitest {

inline void startApp() {
    static int argc = 1;
    static char name[] = "payacc_gui_tests";
    static char* argv[] = {name, nullptr};
    if (qApp != nullptr) return;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    new QApplication(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
}

// The visible top-level window of that class, and of that name when one is given.
template <class W = QWidget>
W* visible(const QString& name = {}) {
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* t = qobject_cast<W*>(w);
            t != nullptr && t->isVisible() && (name.isEmpty() || t->objectName() == name))
            return t;
    return nullptr;
}

// Answers not yet given: a box that never came up fails the test at its end.
inline std::vector<QPointer<QTimer>> pendingAnswers;

// Runs action once the condition holds (polled from the event loop, so also inside the
// nested loop of a menu or a modal window that the test's own action opened).
inline void whenReady(const std::function<bool()>& condition, const std::function<void()>& action) {
    auto* poll = new QTimer(qApp);
    pendingAnswers.push_back(poll);
    QObject::connect(poll, &QTimer::timeout, [poll, condition, action] {
        if (!condition()) return;
        poll->stop();
        poll->deleteLater();
        action();
    });
    poll->start(10);
}

// Runs action on the top-level window of that class (and name) once it shows.
template <class W = QWidget, class Action>
void whenShown(const QString& name, Action action) {
    whenReady([name] { return visible<W>(name) != nullptr; }, [name, action] { action(*visible<W>(name)); });
}

class GuiTest : public ::testing::Test {
protected:
    void SetUp() override {
        startApp();
        data::setComponentFolder(tmp.path().string());
        // Column choices go to this test's own folder, never to the user's settings.
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                           QString::fromStdString(tmp.path().string()));
        QSettings().clear();
        session = std::make_unique<testsupport::DemoSession>(
            toolkit, testsupport::copyDb(testsupport::demoTemplate(), tmp.file("gui.db")));
        module = std::move(session->module);
    }
    void TearDown() override {
        for (auto& poll : pendingAnswers) {
            if (poll == nullptr || !poll->isActive()) continue;
            ADD_FAILURE() << "an expected message box or window never came up";
            delete poll.data();
        }
        pendingAnswers.clear();
        module.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    // Shows the form modally through the module; drive runs inside the form's loop and
    // must end by closing the form. A form still open after 30 seconds fails the test.
    void showModal(ui::Form& form, const std::function<void(qtui::FormDialog&)>& drive) {
        bool driven = false;
        QTimer::singleShot(0, [&] {
            if (qtui::FormDialog* dialog = toolkit.windowOf(form)) driven = true, drive(*dialog);
        });
        QObject watchdog;  // its timer goes with it
        QTimer::singleShot(30000, &watchdog, [&] {
            if (toolkit.windowOf(form) == nullptr) return;
            ADD_FAILURE() << "the form stayed open";
            if (QWidget* popup = QApplication::activePopupWidget()) popup->close();
            while (QMessageBox* box = visible<QMessageBox>()) box->done(0);
            while (qtui::FormDialog* top = toolkit.topWindow()) top->markUnloaded();
        });
        module->showModal(form);
        EXPECT_TRUE(driven) << "the form is not shown";
    }

    template <class W>
    static W* widget(QWidget& dialog, const char* name) {
        W* w = dialog.findChild<W*>(name);
        EXPECT_NE(w, nullptr) << name;
        return w;
    }

    testsupport::TempDir tmp;
    std::unique_ptr<testsupport::DemoSession> session;
    qtui::QtToolkit toolkit;
    std::unique_ptr<entry::Module> module;
};

}  // namespace guitest

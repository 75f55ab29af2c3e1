// The shared library's window front end: a host without a toolkit object of its own (a C
// host) asks the library for its Qt one and passes it to QORPayAccLinking_Create.
#include <QApplication>

#include "entry/Plugin.h"
#include "qt/QtFrontEnd.h"
#include "qt/QtToolkit.h"
#include "ui/Toolkit.h"

extern "C" {

// A Qt toolkit for QORPayAccLinking_Create. The host's QApplication is used; a host without
// one gets one made here, which lives as long as the process. Null when no display is there.
ui::Toolkit* QORPayAccLinking_CreateQtToolkit() {
    if (QApplication::instance() == nullptr) {
        // Qt ends the process when it cannot reach a display.
        if (!qtui::displayAvailable()) return nullptr;
        static int argc = 1;
        static char name[] = "QORPayAccLinking";
        static char* argv[] = {name, nullptr};
        try {
            static QApplication* app = new QApplication(argc, argv);
            QApplication::setQuitOnLastWindowClosed(false);
            (void)app;
        } catch (...) {
            return nullptr;
        }
    }
    if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr) return nullptr;
    return new qtui::QtToolkit();
}

void QORPayAccLinking_DestroyQtToolkit(ui::Toolkit* toolkit) {
    delete toolkit;
    // The windows of the closed screens go with it.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

}  // extern "C"

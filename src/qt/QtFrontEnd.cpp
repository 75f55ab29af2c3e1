#include "qt/QtFrontEnd.h"

#include <QApplication>
#include <cstdlib>
#include <iostream>

#include "qt/QtToolkit.h"
#include "qt/ScreenshotPlayer.h"

namespace qtui {

bool displayAvailable() {
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* v = std::getenv(name);
        if (v != nullptr && *v != '\0') return true;
    }
    return false;
}

int runApplication(int& argc, char** argv, const std::function<void(ui::Toolkit&)>& body) {
    QApplication app(argc, argv);
    QApplication::setApplicationName("payacclink");
    // No program name after the screens' own captions in the window titles.
    QGuiApplication::setApplicationDisplayName(QString());
    // The screens end the run by closing the browser; a window closing on the way (a
    // message box before the first form) must not end the nested loops.
    QApplication::setQuitOnLastWindowClosed(false);

    QtToolkit toolkit;
    std::unique_ptr<ScreenshotPlayer> player;
    if (const char* script = std::getenv("PAYACC_SCREENSHOT_SCRIPT"); script != nullptr && *script != '\0') {
        const char* dir = std::getenv("PAYACC_SCREENSHOT_DIR");
        player = std::make_unique<ScreenshotPlayer>(toolkit, script,
                                                    dir != nullptr && *dir != '\0' ? dir : "screenshots");
        player->start();
    }
    try {
        body(toolkit);
    } catch (const std::exception& e) {
        std::cerr << "payacclink: " << e.what() << '\n';
        return 1;
    }
    if (player != nullptr && player->failed()) return 1;
    return 0;
}

}  // namespace qtui

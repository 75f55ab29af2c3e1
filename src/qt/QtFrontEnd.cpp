#include "qt/QtFrontEnd.h"

#include <QApplication>
#include <QGuiApplication>
#include <cstdlib>
#include <iostream>
#include <memory>

#include "qt/QtToolkit.h"
#include "qt/ScreenshotPlayer.h"
#include "qt/VoucherPrinter.h"

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

int writeVoucherPdfFile(const report::Voucher& voucher, const std::string& file, std::string& error) {
    std::unique_ptr<QGuiApplication> app;
    QtMessageHandler previous = nullptr;
    if (QCoreApplication::instance() == nullptr) {
        // A command ends with one line of its own: Qt's notes about the session it runs in
        // (no runtime folder, no screen) are not for its user.
        previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
            if (type == QtCriticalMsg || type == QtFatalMsg) std::cerr << text.toStdString() << '\n';
        });
        // A PDF needs fonts, not a screen: the offscreen platform works everywhere.
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "payacclink";
        static char* argv[] = {name, nullptr};
        app = std::make_unique<QGuiApplication>(argc, argv);
    }
    QString why;
    const int pages = writeVoucherPdf(voucher, QString::fromStdString(file), &why);
    if (pages == 0) error = why.toStdString();
    if (app != nullptr) {
        app.reset();
        qInstallMessageHandler(previous);
    }
    return pages;
}

}  // namespace qtui

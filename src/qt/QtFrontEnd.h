#pragma once
// The Qt Widgets front end of ui::Toolkit.
#include <functional>
#include <string>

#include "report/Voucher.h"
#include "ui/Toolkit.h"

namespace qtui {

// True when a display (X11/Wayland or QT_QPA_PLATFORM) is there to open windows on.
bool displayAvailable();
// Creates the application and the Qt toolkit, runs body with it (body shows the browser
// modally and returns when it closes), and returns the exit status.
int runApplication(int& argc, char** argv, const std::function<void(ui::Toolkit&)>& body);

// Writes the voucher as a PDF file without any window: without an application of its own it
// makes one on the offscreen platform (unless QT_QPA_PLATFORM says otherwise). Returns the
// number of pages, or 0 with error saying why nothing was written.
int writeVoucherPdfFile(const report::Voucher& voucher, const std::string& file, std::string& error);

}  // namespace qtui

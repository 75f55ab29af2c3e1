#pragma once
// The Qt Widgets front end of ui::Toolkit.
#include <functional>

#include "ui/Toolkit.h"

namespace qtui {

// True when a display (X11/Wayland or QT_QPA_PLATFORM) is there to open windows on.
bool displayAvailable();
// Creates the application and the Qt toolkit, runs body with it (body shows the browser
// modally and returns when it closes), and returns the exit status.
int runApplication(int& argc, char** argv, const std::function<void(ui::Toolkit&)>& body);

}  // namespace qtui

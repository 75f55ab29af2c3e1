#pragma once
// Windows open no larger than the screen area they may use, centred on it; the lists give
// up height first so that every button stays in reach on a small screen.
#include <QRect>

class QWidget;

namespace qtui {

// Room kept for the window manager's frame and title bar.
inline constexpr int kFrameAllowanceWidth = 16, kFrameAllowanceHeight = 40;

// Lets the item views of a window shrink to a few rows.
void letListsShrink(QWidget& window);
// Sizes and places the window inside the area (the available geometry of its screen).
void fitInto(QWidget& window, const QRect& area);
// fitInto the available area of the screen the window (or its parent) is on.
void fitToScreen(QWidget& window);

}  // namespace qtui

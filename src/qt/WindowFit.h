#pragma once
// Windows open no larger than the screen area they may use, centred on it; the lists give
// up height first so that every button stays in reach on a small screen.
#include <QRect>

class QAbstractItemView;
class QWidget;

namespace qtui {

// Room kept for the window manager's frame and title bar.
inline constexpr int kFrameAllowanceWidth = 16, kFrameAllowanceHeight = 40;

// Lets the item views of a window shrink to a few rows.
void letListsShrink(QWidget& window);
// Keeps at least this many rows of the view in sight, its header too: the window's other
// lists give up their height first.
void keepRowsInSight(QAbstractItemView& view, int rows);
// Sizes and places the window inside the area (the available geometry of its screen):
// centred, or where it is when keepPlace and it fits there.
void fitInto(QWidget& window, const QRect& area, bool keepPlace = false);
// fitInto the available area of the screen the window (or its parent) is on.
void fitToScreen(QWidget& window, bool keepPlace = false);

// A window opens with the size and place it had when it was last closed (QSettings, by the
// window's object name), fitted into today's screen; true when there was one to restore.
bool restoreWindowGeometry(QWidget& window);
void saveWindowGeometry(const QWidget& window);

}  // namespace qtui

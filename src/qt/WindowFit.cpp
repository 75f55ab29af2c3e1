#include "qt/WindowFit.h"

#include <QAbstractItemView>
#include <QGuiApplication>
#include <QLayout>
#include <QScreen>
#include <QWidget>
#include <algorithm>

namespace qtui {

void letListsShrink(QWidget& window) {
    for (auto* view : window.findChildren<QAbstractItemView*>()) {
        // The header and two or three rows: enough to see where one is.
        const int rows = view->fontMetrics().height() + 4;
        view->setMinimumHeight(std::min(view->minimumHeight(), 4 * rows + 2 * view->frameWidth()));
    }
}

void fitInto(QWidget& window, const QRect& area) {
    if (window.layout() != nullptr) window.layout()->activate();
    const QSize room =
        (area.size() - QSize(kFrameAllowanceWidth, kFrameAllowanceHeight)).expandedTo(QSize(1, 1));
    QSize size = window.size().boundedTo(room).expandedTo(window.minimumSizeHint().boundedTo(room));
    window.resize(size);
    QRect placed(QPoint(0, 0), size);
    placed.moveCenter(area.center());
    placed.moveTopLeft(QPoint(std::max(area.left(), placed.left()), std::max(area.top(), placed.top())));
    window.move(placed.topLeft());
}

void fitToScreen(QWidget& window) {
    QScreen* screen = window.parentWidget() != nullptr ? window.parentWidget()->screen() : window.screen();
    if (screen == nullptr) screen = QGuiApplication::primaryScreen();
    if (screen != nullptr) fitInto(window, screen->availableGeometry());
}

}  // namespace qtui

#include "qt/WindowFit.h"

#include <QAbstractItemView>
#include <QGuiApplication>
#include <QHeaderView>
#include <QLayout>
#include <QScreen>
#include <QSettings>
#include <QTreeView>
#include <QWidget>
#include <algorithm>

namespace qtui {

void letListsShrink(QWidget& window) {
    for (auto* view : window.findChildren<QAbstractItemView*>()) {
        // The header and two rows: enough to see where one is, and room on a small screen at
        // 125 % for the posting list's eight rows and three lines of totals below it.
        const int rows = view->fontMetrics().height() + 4;
        view->setMinimumHeight(std::min(view->minimumHeight(), 3 * rows + 2 * view->frameWidth()));
    }
}

void keepRowsInSight(QAbstractItemView& view, int rows) {
    // A row of text is as high as the font (and a pixel for rounding at odd scales).
    const int row = view.fontMetrics().height() + 1;
    int header = 0;
    if (auto* tree = qobject_cast<QTreeView*>(&view)) header = tree->header()->sizeHint().height();
    view.setMinimumHeight(header + rows * row + 2 * view.frameWidth());
}

void fitInto(QWidget& window, const QRect& area, bool keepPlace) {
    if (window.layout() != nullptr) window.layout()->activate();
    const QSize room =
        (area.size() - QSize(kFrameAllowanceWidth, kFrameAllowanceHeight)).expandedTo(QSize(1, 1));
    QSize size = window.size().boundedTo(room).expandedTo(window.minimumSizeHint().boundedTo(room));
    window.resize(size);
    QRect placed(window.pos(), size);
    const QRect inside = area.adjusted(0, 0, -kFrameAllowanceWidth, -kFrameAllowanceHeight);
    if (!keepPlace || !inside.contains(placed)) placed.moveCenter(area.center());
    placed.moveTopLeft(QPoint(std::max(area.left(), placed.left()), std::max(area.top(), placed.top())));
    window.move(placed.topLeft());
}

void fitToScreen(QWidget& window, bool keepPlace) {
    QScreen* screen = window.parentWidget() != nullptr ? window.parentWidget()->screen() : window.screen();
    if (screen == nullptr) screen = QGuiApplication::primaryScreen();
    if (screen != nullptr) fitInto(window, screen->availableGeometry(), keepPlace);
}

namespace {

QString geometryKey(const QWidget& window) { return "windows/" + window.objectName() + "/geometry"; }

}  // namespace

bool restoreWindowGeometry(QWidget& window) {
    const QByteArray saved = QSettings().value(geometryKey(window)).toByteArray();
    return !saved.isEmpty() && window.restoreGeometry(saved);
}

void saveWindowGeometry(const QWidget& window) {
    if (window.isVisible() && !window.objectName().isEmpty())
        QSettings().setValue(geometryKey(window), window.saveGeometry());
}

}  // namespace qtui

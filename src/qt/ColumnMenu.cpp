#include "qt/ColumnMenu.h"

#include <QAbstractItemView>
#include <QEvent>
#include <QHeaderView>
#include <QMenu>
#include <QSettings>
#include <algorithm>

#include "qt/ItemLook.h"

namespace qtui {

namespace {

QString settingsKey(const QString& key) { return "columns/" + key + "/hidden"; }
QString widthsKey(const QString& key) { return "columns/" + key + "/widths"; }

}  // namespace

ColumnMenu::ColumnMenu(QAbstractItemView& view, QHeaderView& header, QString key, const ListLook& look)
    : QObject(&view), view_(&view), header_(&header), key_(std::move(key)), look_(look) {
    QSettings settings;
    const QVariant saved = settings.value(settingsKey(key_));
    if (saved.isValid()) {
        for (const QString& col : saved.toStringList()) hidden_.insert(col.toInt());
    } else {
        for (int col = 0; col < int(look_.columns.size()); ++col)
            if (look_.columns[col].internal) hidden_.insert(col);
    }
    for (const QString& entry : settings.value(widthsKey(key_)).toStringList()) {
        const QStringList pair = entry.split(':');
        if (pair.size() == 2 && pair[1].toInt() > 0) widths_[pair[0].toInt()] = pair[1].toInt();
    }
    header.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&header, &QHeaderView::customContextMenuRequested, this, &ColumnMenu::showMenu);
    // Only widths the user drags are remembered, not those the list lays out itself.
    headerViewport_ = header.viewport();
    viewViewport_ = view.viewport();
    header.viewport()->installEventFilter(this);
    view.viewport()->installEventFilter(this);
    connect(&header, &QHeaderView::sectionResized, this, [this](int col, int, int size) {
        if (!userResizing_ || fitting_ || size <= 0) return;
        widths_[col] = size;
        saveWidths();
    });
    apply();
}

void ColumnMenu::apply() {
    if (header_ == nullptr) return;
    for (int col : hidden_)
        if (col < header_->count()) header_->setSectionHidden(col, true);
    for (auto it = widths_.begin(); it != widths_.end(); ++it)
        if (it.key() < header_->count() && header_->sectionResizeMode(it.key()) != QHeaderView::Stretch)
            header_->resizeSection(it.key(), it.value());
    fitAmounts();
}

void ColumnMenu::fitAmounts() {
    if (view_ == nullptr || header_ == nullptr || fitting_) return;
    bool amounts = false;
    for (const ColumnLook& c : look_.columns) amounts |= c.look == CellLook::Amount;
    if (!amounts) return;
    fitting_ = true;
    // The last column in sight stretches over what is left: it needs its own width too.
    int last = -1, total = 0;
    for (int col = 0; col < header_->count(); ++col)
        if (!header_->isSectionHidden(col)) last = col;
    std::vector<int> shrinkable;
    for (int col = 0; col <= last; ++col) {
        if (header_->isSectionHidden(col)) continue;
        const int width = col == last ? std::max(header_->sectionSizeHint(col), view_->sizeHintForColumn(col))
                                      : header_->sectionSize(col);
        total += width;
        if (col != last && look_.column(col).look == CellLook::Text && !widths_.contains(col))
            shrinkable.push_back(col);
    }
    // A currency code still reads in the narrowest text column; longer texts are elided.
    const int least = view_->fontMetrics().horizontalAdvance(QStringLiteral("MMM"));
    int excess = total - view_->viewport()->width();
    int room = 0;
    for (int col : shrinkable) room += std::max(0, header_->sectionSize(col) - least);
    if (excess > 0 && room > 0) {
        // Each text column gives up a share of what it has beyond a few letters.
        for (int col : shrinkable) {
            const int spare = std::max(0, header_->sectionSize(col) - least);
            const int give =
                std::min(spare, static_cast<int>((static_cast<long long>(excess) * spare + room - 1) / room));
            header_->resizeSection(col, header_->sectionSize(col) - give);
        }
    }
    fitting_ = false;
}

bool ColumnMenu::eventFilter(QObject* watched, QEvent* event) {
    if (watched == headerViewport_) {
        if (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick)
            userResizing_ = true;
        if (event->type() == QEvent::MouseButtonRelease) userResizing_ = false;
    } else if (watched == viewViewport_ && event->type() == QEvent::Resize) {
        fitAmounts();
    }
    return false;
}

void ColumnMenu::saveWidths() const {
    QStringList cols;
    for (auto it = widths_.begin(); it != widths_.end(); ++it)
        cols << QStringLiteral("%1:%2").arg(it.key()).arg(it.value());
    QSettings().setValue(widthsKey(key_), cols);
}

void ColumnMenu::setHidden(int col, bool hidden) {
    if (header_ == nullptr) return;
    if (hidden) {
        hidden_.insert(col);
    } else {
        hidden_.remove(col);
    }
    header_->setSectionHidden(col, hidden);
    if (!hidden && header_->sectionSize(col) < 24)
        header_->resizeSection(col, std::max(60, header_->sectionSizeHint(col)));
    save();
}

void ColumnMenu::restoreDefaults() {
    if (header_ == nullptr) return;
    for (int col = 0; col < header_->count(); ++col) setHidden(col, look_.column(col).internal);
    widths_.clear();
    QSettings().remove(settingsKey(key_));
    QSettings().remove(widthsKey(key_));
}

void ColumnMenu::save() const {
    QStringList cols;
    for (int col : hidden_) cols << QString::number(col);
    cols.sort();
    QSettings().setValue(settingsKey(key_), cols);
}

void ColumnMenu::showMenu(const QPoint& pos) {
    if (view_ == nullptr || header_ == nullptr) return;
    QAbstractItemModel* model = view_->model();
    QMenu menu(view_);
    menu.setObjectName("columnMenu");
    int shown = 0;
    for (int col = 0; col < model->columnCount(); ++col) shown += header_->isSectionHidden(col) ? 0 : 1;
    for (int col = 0; col < model->columnCount(); ++col) {
        QAction* action = menu.addAction(model->headerData(col, Qt::Horizontal).toString());
        action->setCheckable(true);
        action->setChecked(!header_->isSectionHidden(col));
        const QVariant tip = model->headerData(col, Qt::Horizontal, Qt::ToolTipRole);
        if (tip.isValid()) action->setToolTip(tip.toString());
        // The last column in sight stays.
        action->setEnabled(header_->isSectionHidden(col) || shown > 1);
        connect(action, &QAction::toggled, this, [this, col](bool on) { setHidden(col, !on); });
    }
    menu.setToolTipsVisible(true);
    menu.addSeparator();
    connect(menu.addAction(tr("Default columns")), &QAction::triggered, this, &ColumnMenu::restoreDefaults);
    menu.exec(header_->viewport()->mapToGlobal(pos));
}

}  // namespace qtui

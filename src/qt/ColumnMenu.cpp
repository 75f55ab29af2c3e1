#include "qt/ColumnMenu.h"

#include <QAbstractItemView>
#include <QHeaderView>
#include <QMenu>
#include <QSettings>
#include <algorithm>

#include "qt/ItemLook.h"

namespace qtui {

namespace {

QString settingsKey(const QString& key) { return "columns/" + key + "/hidden"; }

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
    header.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&header, &QHeaderView::customContextMenuRequested, this, &ColumnMenu::showMenu);
    apply();
}

void ColumnMenu::apply() {
    if (header_ == nullptr) return;
    for (int col : hidden_)
        if (col < header_->count()) header_->setSectionHidden(col, true);
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
    QSettings().remove(settingsKey(key_));
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

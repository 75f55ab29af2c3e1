#pragma once
// The columns of a list as the user arranges them: any column shown or hidden from the
// header's menu, widths the user drags, both remembered per list across runs. Internal id
// columns start hidden. Where the list has amount columns, the text columns give up width
// (their texts elided, whole in the tooltip) so that every amount stays in sight.
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>

class QAbstractItemView;
class QHeaderView;

namespace qtui {

struct ListLook;

class ColumnMenu : public QObject {
    Q_OBJECT
public:
    // key names the list in the settings ("form.list").
    ColumnMenu(QAbstractItemView& view, QHeaderView& header, QString key, const ListLook& look);
    // Hides the hidden columns again and restores the widths the user chose (the binder lays
    // out every column afresh after a reset), then fits the amounts in.
    void apply();
    // Narrows the text columns until the amount columns fit the view's width.
    void fitAmounts();
    bool isHidden(int col) const { return hidden_.contains(col); }
    void setHidden(int col, bool hidden);
    // Back to the internal columns hidden and the rest shown.
    void restoreDefaults();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showMenu(const QPoint& pos);
    void save() const;
    void saveWidths() const;

    QPointer<QAbstractItemView> view_;
    QPointer<QHeaderView> header_;
    // Compared, never followed: their events come also while the views are being destroyed.
    const QObject* viewViewport_ = nullptr;
    const QObject* headerViewport_ = nullptr;
    QString key_;
    const ListLook& look_;
    QSet<int> hidden_;
    QMap<int, int> widths_;      // the widths the user gave columns
    bool userResizing_ = false;  // a mouse drag or double click on the header is under way
    bool fitting_ = false;
};

}  // namespace qtui

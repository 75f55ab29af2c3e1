#pragma once
// The header menu of a list: any column shown or hidden, remembered per list across runs.
// Internal id columns start hidden.
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
    // Hides the hidden columns again (the binder shows every laid-out column after a reset).
    void apply();
    bool isHidden(int col) const { return hidden_.contains(col); }
    void setHidden(int col, bool hidden);
    // Back to the internal columns hidden and the rest shown.
    void restoreDefaults();

private:
    void showMenu(const QPoint& pos);
    void save() const;

    QPointer<QAbstractItemView> view_;
    QPointer<QHeaderView> header_;
    QString key_;
    const ListLook& look_;
    QSet<int> hidden_;
};

}  // namespace qtui

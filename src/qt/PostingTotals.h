#pragma once
// Debit total, credit total and balance per currency under a list, added up from the list's
// own cells whenever they change. Each line names its currency: a sum across currencies
// would mean nothing.
#include <QPointer>
#include <QWidget>

class QAbstractItemModel;
class QGridLayout;

namespace qtui {

struct ListLook;

class PostingTotals : public QWidget {
    Q_OBJECT
public:
    PostingTotals(QAbstractItemModel& model, const ListLook& look, QWidget* parent = nullptr);
    // Adds up the list now (changes are otherwise gathered and added up once).
    void refreshNow();
    // The list goes with its form: read it no more.
    void detach();

private:
    void schedule();

    QPointer<QAbstractItemModel> model_;
    const ListLook& look_;
    QGridLayout* grid_;
    bool pending_ = false;
};

}  // namespace qtui

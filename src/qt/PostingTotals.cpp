#include "qt/PostingTotals.h"

#include <QAbstractItemModel>
#include <QGridLayout>
#include <QLabel>
#include <QTimer>
#include <algorithm>
#include <vector>

#include "qt/ItemLook.h"
#include "qt/ItemModels.h"

namespace qtui {

PostingTotals::PostingTotals(QAbstractItemModel& model, const ListLook& look, QWidget* parent)
    : QWidget(parent), model_(&model), look_(look), grid_(new QGridLayout(this)) {
    setObjectName("postingTotals");
    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setVerticalSpacing(0);
    grid_->setColumnStretch(0, 1);
    connect(&model, &QAbstractItemModel::modelReset, this, &PostingTotals::schedule);
    connect(&model, &QAbstractItemModel::layoutChanged, this, &PostingTotals::schedule);
    connect(&model, &QAbstractItemModel::dataChanged, this, &PostingTotals::schedule);
    connect(&model, &QAbstractItemModel::rowsInserted, this, &PostingTotals::schedule);
    connect(&model, &QAbstractItemModel::rowsRemoved, this, &PostingTotals::schedule);
    refreshNow();
}

void PostingTotals::schedule() {
    if (pending_) return;
    pending_ = true;
    QTimer::singleShot(0, this, [this] {
        if (pending_) refreshNow();
    });
}

void PostingTotals::detach() {
    if (model_ != nullptr) disconnect(model_, nullptr, this, nullptr);
    model_ = nullptr;
    pending_ = false;
}

void PostingTotals::refreshNow() {
    pending_ = false;
    struct Sum {
        QString currency;
        double debit = 0, credit = 0;
    };
    std::vector<Sum> sums;  // in the order the currencies first appear
    const int rows = model_ != nullptr ? model_->rowCount() : 0;
    auto raw = [this](int row, int col) {
        return model_->index(row, col).data(ListViewModel::RawTextRole).toString();
    };
    for (int r = 0; r < rows; ++r) {
        const QString currency = raw(r, look_.currency).trimmed();
        auto it =
            std::find_if(sums.begin(), sums.end(), [&](const Sum& s) { return s.currency == currency; });
        if (it == sums.end()) it = sums.insert(sums.end(), Sum{currency});
        it->debit += amountOf(raw(r, look_.debit));
        it->credit += amountOf(raw(r, look_.credit));
    }

    while (QLayoutItem* item = grid_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    int line = 0;
    for (const Sum& s : sums) {
        const QString name = s.currency.isEmpty() ? tr("(no currency)") : s.currency;
        auto add = [&](int col, const QString& text, const QString& objectName, bool value) {
            auto* label = new QLabel(text, this);
            label->setObjectName(objectName);
            if (value) {
                label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
                label->setMinimumWidth(label->fontMetrics().horizontalAdvance("000,000,000.00"));
                label->setTextInteractionFlags(Qt::TextSelectableByMouse);
            }
            grid_->addWidget(label, line, col);
        };
        add(1, "<b>" + name.toHtmlEscaped() + "</b>", "totalCurrency_" + s.currency, false);
        add(2, tr("Debit:"), {}, false);
        add(3, formatAmount(QString::number(s.debit, 'f', 6)), "totalDebit_" + s.currency, true);
        add(4, tr("Credit:"), {}, false);
        add(5, formatAmount(QString::number(s.credit, 'f', 6)), "totalCredit_" + s.currency, true);
        add(6, tr("Balance:"), {}, false);
        add(7, formatAmount(QString::number(s.debit - s.credit, 'f', 6)), "totalBalance_" + s.currency, true);
        ++line;
    }
    setVisible(!sums.empty());
}

}  // namespace qtui

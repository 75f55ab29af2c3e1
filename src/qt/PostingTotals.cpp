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

namespace {

// "Amount(AED)" -> "AED"; a header that names no currency gives "".
QString symbolOf(const QString& header) {
    const int open = header.indexOf('('), close = header.lastIndexOf(')');
    return open >= 0 && close > open ? header.mid(open + 1, close - open - 1) : QString();
}

}  // namespace

void PostingTotals::refreshNow() {
    pending_ = false;
    struct Sum {
        QString currency;
        double debit = 0, credit = 0, net = 0;
    };
    std::vector<Sum> sums;  // in the order the currencies first appear
    double department = 0, company = 0;
    const int rows = model_ != nullptr ? model_->rowCount() : 0;
    auto raw = [this](int row, int col) {
        return model_->index(row, col).data(ListViewModel::RawTextRole).toString();
    };
    for (int r = 0; r < rows; ++r) {
        const QString currency = raw(r, look_.currency).trimmed();
        auto it =
            std::find_if(sums.begin(), sums.end(), [&](const Sum& s) { return s.currency == currency; });
        if (it == sums.end()) it = sums.insert(sums.end(), Sum{currency});
        // A credit added by hand is listed negative: its total tells what it credits.
        const double debit = amountOf(raw(r, look_.debit)), net = amountOf(raw(r, look_.total));
        it->debit += debit;
        it->credit += debit - net;
        it->net += net;
        department += amountOf(raw(r, look_.department));
        company += amountOf(raw(r, look_.company));
    }

    while (QLayoutItem* item = grid_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    int line = 0;
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
    auto number = [](double v) { return formatAmount(QString::number(v, 'f', 6)); };
    // Each account currency's sums are information: an entry in several currencies balances
    // in the department's and the company's currency only, shown on the last line.
    for (const Sum& s : sums) {
        const QString name = s.currency.isEmpty() ? tr("(no currency)") : s.currency;
        add(1, "<b>" + name.toHtmlEscaped() + "</b>", "totalCurrency_" + s.currency, false);
        add(2, tr("Debit:"), {}, false);
        add(3, number(s.debit), "totalDebit_" + s.currency, true);
        add(4, tr("Credit:"), {}, false);
        add(5, number(s.credit), "totalCredit_" + s.currency, true);
        add(6, tr("Net:"), {}, false);
        add(7, number(s.net), "totalNet_" + s.currency, true);
        ++line;
    }
    if (!sums.empty()) {
        auto header = [this](int col) {
            return symbolOf(model_->headerData(col, Qt::Horizontal).toString());
        };
        const QString dep = header(look_.department), com = header(look_.company);
        add(1, "<b>" + tr("Balance") + "</b>", {}, false);
        add(2, dep.isEmpty() ? tr("Department:") : tr("Department (%1):").arg(dep), {}, false);
        add(3, number(department), "balanceDepartment", true);
        add(4, com.isEmpty() ? tr("Company:") : tr("Company (%1):").arg(com), {}, false);
        add(5, number(company), "balanceCompany", true);
    }
    setVisible(!sums.empty());
}

}  // namespace qtui

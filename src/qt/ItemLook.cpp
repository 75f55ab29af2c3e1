#include "qt/ItemLook.h"

#include <QBrush>
#include <QLocale>
#include <QWidget>
#include <cmath>
#include <map>

#include "browser/GridColumns.h"
#include "common/Conv.h"
#include "linking/ListColumns.h"

namespace qtui {

namespace {

constexpr ColumnLook kText{}, kId{CellLook::Text, true, nullptr},
    kFlag{CellLook::CreditFlag, false, "Cr: credit line, Dr: debit line"};
constexpr ColumnLook amount(const char* tip, const char* named = nullptr) {
    return {CellLook::Amount, false, tip, named};
}

// Every column plain text, but for those named.
std::vector<ColumnLook> plain(int count, std::initializer_list<std::pair<int, ColumnLook>> named) {
    std::vector<ColumnLook> columns(static_cast<size_t>(count), kText);
    for (const auto& [col, look] : named) columns[static_cast<size_t>(col)] = look;
    return columns;
}

const std::map<QString, ListLook>& looks() {
    static const std::map<QString, ListLook> all = [] {
        using namespace linking;
        std::map<QString, ListLook> m;
        m["frmPayrollAccountsLinking.lvwTransactions"] = {
            true, plain(trn::Count, {{trn::TransID, kId}, {trn::DeptID, kId}})};
        m["frmPayrollAccountsLinking.lvwTransactionDetails"] = {
            true,
            plain(det::Count, {{det::Amount, amount("Amount in the account's currency")},
                               {det::Credit, kFlag},
                               {det::TransID, kId},
                               {det::AccountID, kId},
                               {det::DeptID, kId},
                               {det::RespAmt, amount("Amount in the line's own currency")},
                               {det::DepAmount, amount("Amount in the department's currency", "Department")},
                               {det::ComAmt, amount("Amount in the company's currency", "Company")},
                               {det::ResCurrID, kId},
                               {det::AccCurrID, kId},
                               {det::EmpID, kId}})};
        ListLook postings{
            false, plain(pst::Count,
                         {{pst::DebitAccountID, kId},
                          {pst::DebitAmount, amount("Debit in the account's currency")},
                          {pst::CreditAmount, amount("Credit in the account's currency")},
                          {pst::DeptID, kId},
                          {pst::TotalAmount, amount("Debit less credit, in the account's currency")},
                          {pst::TransAmt, amount("Net amount in the line's own currency")},
                          {pst::CompAmount, amount("Net amount in the company's currency", "Company")},
                          {pst::DeptAmount, amount("Net amount in the department's currency", "Department")},
                          {pst::ResCurrID, kId},
                          {pst::AccCurrID, kId},
                          {pst::Editable, kId}})};
        postings.currency = pst::AccCurrency;
        postings.debit = pst::DebitAmount;
        postings.credit = pst::CreditAmount;
        postings.total = pst::TotalAmount;
        postings.department = pst::DeptAmount;
        postings.company = pst::CompAmount;
        m["frmPayrollAccountsLinking.lvwPostingDetails"] = postings;
        ListLook browser{false, plain(browser::mst::Count, {{browser::mst::TransID, kId}})};
        browser.stretch = browser::mst::Department;
        m["FrmMaster.flexMaster"] = browser;
        return m;
    }();
    return all;
}

}  // namespace

const ListLook* listLook(const QString& form, const QString& list) {
    auto it = looks().find(form + '.' + list);
    return it == looks().end() ? nullptr : &it->second;
}

QString currencyIn(const QString& caption) {
    const qsizetype open = caption.indexOf('('), close = caption.indexOf(')', open + 1);
    return open < 0 || close < 0 ? QString() : caption.mid(open + 1, close - open - 1).trimmed();
}

QString namedAmount(const QString& name, const QString& caption) {
    const QString currency = currencyIn(caption);
    return currency.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, currency);
}

QString shownCaption(const QString& form, const QString& control, const QString& caption) {
    if (form != "frmJournalDetails") return caption;
    if (control == "lblAmount") return namedAmount(QStringLiteral("Amount"), caption);
    if (control == "lblDepAmount") return namedAmount(QStringLiteral("Department"), caption);
    if (control == "lblCompAmount") return namedAmount(QStringLiteral("Company"), caption);
    if (control == "lblBalance") return namedAmount(QStringLiteral("Balance"), caption);
    return caption;
}

QString formatAmount(const QString& raw) {
    bool ok = false;
    const double v = raw.trimmed().toDouble(&ok);
    if (!ok) return raw;
    QLocale locale;
    locale.setNumberOptions(QLocale::DefaultNumberOptions);
    // A sum that rounds to nothing shows as 0.00, never as "-0.00".
    const double cents = std::round(v * 100.0) / 100.0;
    return locale.toString(cents == 0.0 ? 0.0 : cents, 'f', 2);
}

QString formatCreditFlag(const QString& raw) { return amountOf(raw) == 1.0 ? "Cr" : "Dr"; }

double amountOf(const QString& raw) { return common::Val(raw.toStdString()); }

QString shownText(const QWidget& box, const QString& raw, int maxLength) {
    if (!box.property(kAmountBox).toBool() || box.hasFocus()) return raw;
    const QString shown = formatAmount(raw);
    return shown.size() <= maxLength ? shown : raw;
}

void ColouredRowDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    const QVariant background = index.data(Qt::BackgroundRole);
    if (!background.canConvert<QBrush>()) return;
    const QColor colour = background.value<QBrush>().color();
    option->palette.setColor(QPalette::Highlight, colour.darker(160));
    option->palette.setColor(QPalette::HighlightedText, Qt::white);
}

}  // namespace qtui

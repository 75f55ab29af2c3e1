#pragma once
// How the lists show their cells: amounts right-aligned with thousand separators and two
// decimals, the credit flag as Cr/Dr, internal id columns hidden until asked for, headings
// explained by tooltips. Only the look: the cells the screens read and write stay as they are.
#include <QString>
#include <QStyledItemDelegate>
#include <vector>

namespace qtui {

enum class CellLook { Text, Amount, CreditFlag };

struct ColumnLook {
    CellLook look = CellLook::Text;
    bool internal = false;  // an id the user does not need: hidden by default
    const char* tip = nullptr;
    // Shown instead of a heading that only says "Amount(AED)": what the amount is, with the
    // heading's currency ("Department (AED)").
    const char* named = nullptr;
};

struct ListLook {
    bool ticks = true;  // false where ticking a row means nothing
    std::vector<ColumnLook> columns;
    // The columns whose debit, credit and currency add up to totals per currency (or -1).
    int currency = -1, debit = -1, credit = -1;
    // The column that takes the room a wide window leaves (-1: the last one).
    int stretch = -1;
    // The net of each line in its account's currency, and its department and company amounts,
    // whose sums are the entry's balance (or -1).
    int total = -1, department = -1, company = -1;
    ColumnLook column(int col) const {
        return col >= 0 && col < int(columns.size()) ? columns[col] : ColumnLook{};
    }
};

// The look of a list of a form, or nullptr for a list shown plainly.
const ListLook* listLook(const QString& form, const QString& list);

// The currency a caption names in brackets ("Amount(AED) :" -> "AED"), or "".
QString currencyIn(const QString& caption);
// A name and the caption's currency: "Department (AED)", or "Department" without one.
QString namedAmount(const QString& name, const QString& caption);
// A label's caption as the window shows it: the line editor's three amounts say whose
// currency each is in ("Amount (USD)", "Department (AED)", "Company (AED)").
QString shownCaption(const QString& form, const QString& control, const QString& caption);

// "1619265" -> "1,619,265.00"; text that is not a number comes back as it is.
QString formatAmount(const QString& raw);
// Any value other than exactly 1 is a debit, as the screens read the flag.
QString formatCreditFlag(const QString& raw);
// Reads a cell back as the screens do (leading number; empty is 0).
double amountOf(const QString& raw);

// The text an amount box shows: formatted while the user is not in it, as it is otherwise.
// (A box becomes an amount box by the window's presentation, through a property.)
QString shownText(const QWidget& box, const QString& raw, int maxLength);
inline constexpr const char* kAmountBox = "amountBox";

// The browser paints a cancelled entry red; a selected one keeps a dark red highlight.
class ColouredRowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

}  // namespace qtui

#include "suite/CommonModule.h"

#include "common/Conv.h"
#include "common/Error.h"
#include "common/Utf8.h"

namespace suite {

namespace {

data::Connection& connectionOf(const data::ConnectionPtr& c) {
    if (!c)
        throw common::Error(common::err::ObjectNotSet, "CommonModule",
                            "Object variable or With block variable not set");
    return *c;
}

}  // namespace

Value ClsCommonDb::fnReturnField(const std::string& field, const std::string& condition) {
    std::string sql = "select " + field + " from " + strTablename;
    if (!condition.empty()) sql += " where " + condition;
    auto rs = connectionOf(adocon).open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    Value result = rs->eof() ? Value() : rs->field(0);
    rs->close();
    return result;
}

void ClsCommonDb::populateComboorList(ui::ComboBox& combo, const std::string& valueField,
                                      const std::string& textField, const std::string& condition) {
    combo.clear();
    std::string sql = "select " + valueField + ", " + textField + " from " + strTablename;
    if (!common::Trim(condition).empty()) sql += " where " + condition;
    auto rs = connectionOf(adocon).open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    for (; !rs->eof(); rs->moveNext()) {
        combo.addItem(rs->field(1).joinText());
        const Value& v = rs->field(0);
        combo.setItemData(combo.newIndex(), v.isNull() ? 0 : v.toInt64());
    }
    rs->close();
}

int32_t ClsCommonDb::nextFreeKey(const std::string& tableExpression, const std::string& column) {
    std::string sql = "select isnull(max(" + column + "),0)+1 from " + tableExpression;
    auto rs = connectionOf(adocon).open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    int32_t key = rs->eof() ? 1 : rs->field(0).toInt32();
    rs->close();
    return key;
}

void clsCommonGen::SelectComboItemByValue(ui::ComboBox& combo, const Value& value) {
    int found = -1;
    if (!value.isNull()) {
        double wanted;
        try {
            wanted = value.toDouble();
        } catch (const common::Error&) {
            combo.setListIndex(-1);  // a value that is no number matches no item
            return;
        }
        for (int i = 0; i < combo.listCount() && found < 0; ++i)
            if (static_cast<double>(combo.itemData(i)) == wanted) found = i;
    }
    combo.setListIndex(found);
}

void clsCommonGen::SelectComboItemByName(ui::ComboBox& combo, const std::string& text) {
    int found = -1;
    for (int i = 0; i < combo.listCount() && found < 0; ++i)
        if (combo.list(i) == text) found = i;
    combo.setListIndex(found);
}

void clsCommonGen::TextValidateNum(ui::TextBox& box, int16_t& keyAscii, int16_t maxLength, int16_t decimals) {
    if (keyAscii == ui::vbKeyReturn || keyAscii == ui::vbKeyBack) return;
    bool digit = keyAscii >= '0' && keyAscii <= '9';
    bool point = keyAscii == '.';
    if (!digit && !point) {
        keyAscii = 0;
        return;
    }
    // The text as it would read with the key in place of the selection.
    // The selection counts characters; a pasted text may hold some beyond ASCII.
    const std::string& text = box.text();
    const size_t start = common::utf8Offset(text, static_cast<size_t>(std::max(box.selStart(), 0)));
    const size_t end = common::utf8Offset(
        text, static_cast<size_t>(std::max(box.selStart(), 0) + std::max(box.selLength(), 0)));
    std::string next = text.substr(0, start) + static_cast<char>(keyAscii) + text.substr(end);

    size_t firstPoint = next.find('.');
    bool twoPoints = firstPoint != std::string::npos && next.find('.', firstPoint + 1) != std::string::npos;
    bool tooLong = maxLength > 0 && static_cast<int>(common::utf8Length(next)) > maxLength;
    bool tooManyDecimals =
        firstPoint != std::string::npos &&
        static_cast<int>(common::utf8Length(std::string_view(next).substr(firstPoint + 1))) > decimals;
    if (twoPoints || tooLong || tooManyDecimals) keyAscii = 0;
}

}  // namespace suite

#pragma once
// The suite's shared library (CommonModule) as the component calls it.
#include <cstdint>
#include <string>

#include "common/Value.h"
#include "data/Connection.h"
#include "ui/Controls.h"

namespace suite {

using common::Value;

class ClsCommonDb {
public:
    data::ConnectionPtr adocon;  // given the session connection right after creation
    std::string strTablename;    // the table (or table and condition) the next call reads

    // The value of a column in the row of strTablename that meets the condition (the text
    // after WHERE; may be empty). No row gives Null. Statement errors raise.
    Value fnReturnField(const std::string& field, const std::string& condition = "");
    // Fills the combo (or its list) with one item per row: text field shown, value field as
    // item data. The condition may carry an "order by".
    void populateComboorList(ui::ComboBox& combo, const std::string& valueField, const std::string& textField,
                             const std::string& condition);
    // The next free key of a column: one more than the highest value in the rows that the
    // table expression (a table name followed by a where clause) selects; 1 when none.
    int32_t nextFreeKey(const std::string& tableExpression, const std::string& column);
};

class clsCommonGen {
public:
    // Selects the item whose item data equals the value (no item: index -1).
    void SelectComboItemByValue(ui::ComboBox& combo, const Value& value);
    // Selects the item whose text equals the text.
    void SelectComboItemByName(ui::ComboBox& combo, const std::string& text);
    // Key filter of amount boxes: digits, one point, backspace; at most `decimals` digits
    // after the point and `maxLength` characters in all. A refused key becomes 0.
    void TextValidateNum(ui::TextBox& box, int16_t& keyAscii, int16_t maxLength, int16_t decimals);
};

}  // namespace suite

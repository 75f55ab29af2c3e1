#pragma once
// Shared form helpers of the linking module.
#include <cstdint>

#include "ui/Form.h"

namespace ui {

// Enter (13) sends "{TAB}" so the focus moves to the next field; the key is left unchanged.
void SendTabOnEnter(Toolkit& toolkit, int16_t& keyCode);
// Snapshot of every TextBox, ComboBox, CheckBox, OptionButton and DTPicker into its Tag.
void StoreControlValues(Form& form);
// True when a control differs from its snapshot (comparison rules per type).
bool ControlsChanged(Form& form);
// Writes 1, 2, 3 ... as the rows' text; the counter is 8-bit: more than 255 rows raises
// Overflow before any row is written.
void RenumberRows(ListView& list);
// Sum of the leading numbers of one column over all rows (the posting list's "Dept amount").
double BalanceAmount(const ListView& postingDetails, int deptAmountColumn);
// True when a row's column (the "Trans ID " column) converted to a 32-bit integer equals id.
bool TransIDInList(const ListView& transactions, int32_t id, int transIdColumn);

}  // namespace ui

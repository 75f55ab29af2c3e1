#pragma once
// The browser's "Month status..." window: the month status of the browser layer as a grid of
// transaction types by departments, open cells in amber with their count and amount, posted
// ones in green with their entries. A double-click hands the cell to the browser layer, which
// opens New filled in or the cell's entry; the grid is read again when that screen closes.
#include <QDialog>

namespace browser {
class FrmMaster;
}

namespace qtui {

// Adds the button to the browser's window; it follows the Print right.
void addMonthStatusAction(QDialog& window, browser::FrmMaster& master);

}  // namespace qtui

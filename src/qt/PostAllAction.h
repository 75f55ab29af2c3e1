#pragma once
// The browser's "Post all departments..." action: the month-end posting of the command line,
// with a cancellable progress dialog between departments and the same summary at the end.
#include <QDialog>

namespace browser {
class FrmMaster;
}

namespace qtui {

// Adds the action's button to the browser's window; it follows the "N" right.
void addPostAllAction(QDialog& window, browser::FrmMaster& master);

}  // namespace qtui

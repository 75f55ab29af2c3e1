#pragma once
// The browser's "Post all departments..." action: the month-end posting of the command line.
// The request dialog first shows what a run would post (its dry run) and posts only from a
// "Post n entries" button that is never a default; a cancellable progress dialog runs between
// departments, and the summary at the end is a table to copy, print or save as CSV.
#include <QDialog>

namespace browser {
class FrmMaster;
}

namespace qtui {

// Adds the action's button to the browser's window; it follows the "N" right.
void addPostAllAction(QDialog& window, browser::FrmMaster& master);

}  // namespace qtui

#pragma once
// The browser grid's columns (flexMaster), in the order the browser's list statement selects
// them: every screen that reads a browser row, and the Qt front end, name them from here.
namespace browser::mst {

enum : int { TransID, TransNo, TransDate, Type, Department, Cancel, Posted, Count };

}  // namespace browser::mst

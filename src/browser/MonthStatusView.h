#pragma once
// The browser's month status: for one month of the session company, by transaction type and
// department, what is posted and what is still open, read as the status command reads it.
// Opening a cell does what the user would do next, with the browser's own buttons: an open
// cell opens New with its type, department and the month filled in and Show pressed; a cell
// whose sources are all posted opens the entry that holds them (Edit, or Print for a user
// who may not edit). Front ends show the grid and hand double-clicks here.
#include <cstdint>
#include <string>

#include "browser/FrmMaster.h"
#include "common/DateTime.h"
#include "report/MonthStatus.h"

namespace linking {
class frmPayrollAccountsLinking;
}

namespace browser {

class MonthStatusView {
public:
    explicit MonthStatusView(FrmMaster& master) : master_(master) {}

    // The session user's Print right: the view shows amounts, as a voucher does.
    bool permitted() const;
    // Reads the month of `day`, its first to its last day.
    void load(const common::DateTime& day);
    const report::MonthStatus& status() const { return status_; }
    const common::DateTime& from() const { return from_; }
    const common::DateTime& to() const { return to_; }

    enum class Opened { NewEntry, Entry, Nothing };
    // Opens the cell of a type (its letter) and department; for a posted cell, entry picks one
    // of its entries (by position). Reads the month again afterwards: the user may have saved.
    Opened open(const std::string& typeCode, int32_t departmentId, size_t entry = 0);
    // Why the last open did nothing, for the front end to show; "" when it did something.
    const std::string& refusal() const { return refusal_; }

private:
    Opened openNew(const report::StatusCell& cell);
    Opened openEntry(const report::EntryRef& entry);

    FrmMaster& master_;
    report::MonthStatus status_;
    common::DateTime from_, to_;
    std::string refusal_;
};

// The note under a Show of the linking screen that listed nothing: "Nothing to post in this
// range" and where the range's sources are, or that it has none.
std::string NothingToPostNote(linking::frmPayrollAccountsLinking& screen);

}  // namespace browser

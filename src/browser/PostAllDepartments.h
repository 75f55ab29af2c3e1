#pragma once
// Month-end posting: one entry per department for a transaction type and date range, made by
// driving the browser's New and the linking screen headless, step by step as a user does
// (type, department, dates, Show, every source ticked, remarks, Ok). Every check and
// safeguard of the screen applies because nothing here decides anything the screen decides:
// a department the screen refuses is reported with the message the screen showed.
//
// Each department is saved by the screen's own save, in its own transaction, so an
// interrupted run leaves every department either fully posted or untouched.
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/DateTime.h"
#include "data/Connection.h"
#include "entry/Session.h"

namespace browser {

struct PostRequest {
    std::string type;  // the type's text as listed on the screen ("Payroll", ...)
    common::DateTime from, to;
    std::optional<int32_t> department;  // none: every department of the company
    std::string remarks;
    std::optional<common::DateTime> entryDate;  // none: the process date, as the screen sets it
    bool dryRun = false;                        // the whole save runs, and its transaction is rolled back
};

struct PostingLine {
    std::string account, description, currency, debit, credit;
};

struct DepartmentOutcome {
    enum class Status { Posted, NothingToPost, NotPosted };
    int32_t id = 0;
    std::string name;
    Status status = Status::NothingToPost;
    std::string entryNo;  // the entry's number (on a dry run, the number it would get)
    std::string reason;   // why it was not posted: the screen's message
    int sources = 0, lines = 0;
    // Debit and credit totals of the posting lines by the accounts' currency.
    std::map<std::string, std::pair<double, double>> totals;
    std::vector<PostingLine> postingLines;
};

struct PostSession {
    data::ConnectionPtr connection;
    int32_t userId = 1, companyId = 1, interfaceId = 60;
    std::string msgTitle = "Payroll Accounts Linking";
    std::string processDate;  // dd/MM/yyyy; the entries are dated on it
    std::string projectKey;
};

class PostAllDepartments {
public:
    // Told before each department (i counts from 1); returning false stops the run there.
    using Progress = std::function<bool(int i, int n, const std::string& department)>;

    explicit PostAllDepartments(PostSession session) : session_(std::move(session)) {}

    // Runs the whole request. Throws std::invalid_argument for an unknown type or department.
    std::vector<DepartmentOutcome> run(const PostRequest& request, const Progress& progress = {});

    // Set when the browser would not let this user make a new entry: nothing was tried.
    const std::string& refused() const { return refused_; }
    bool cancelled() const { return cancelled_; }

private:
    PostSession session_;
    std::string refused_;
    bool cancelled_ = false;
};

// The table of a run: one line per department (a further line per further currency, and on
// a dry run its posting lines), then the totals per currency and a count.
std::string PostSummary(const std::vector<DepartmentOutcome>& outcomes, bool dryRun, bool stopped);

// The sentence given when the user lacks the right to make entries.
std::string NoNewRightMessage(int32_t userId, int32_t interfaceId);

}  // namespace browser

#include "PostCommand.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <regex>
#include <stdexcept>
#include <thread>

#include "common/DateTime.h"
#include "common/Utf8.h"
#include "entry/Session.h"

namespace post {

namespace {

using Status = browser::DepartmentOutcome::Status;

std::optional<common::DateTime> readDate(const std::string& text) {
    static const std::regex shape(R"(\d{1,2}/\d{1,2}/\d{4})");
    std::optional<common::DateTime> d;
    if (std::regex_match(text, shape)) d = common::parseDate(text);
    if (d && !d->valid()) d.reset();
    return d;
}

common::DateTime dateOf(const std::string& text) {
    auto d = readDate(text);
    if (!d || !d->valid()) throw std::invalid_argument("needs a date written dd/MM/yyyy, not '" + text + "'");
    return *d;
}

// A test hook: PAYACC_TEST_PAUSE_BEFORE_COMMIT=K stops the K-th save just before its commit,
// with everything of that department written but not committed, so that a test can kill the
// process there.
class PauseBeforeCommit : public data::ForwardingConnection {
public:
    PauseBeforeCommit(data::ConnectionPtr inner, int at) : ForwardingConnection(std::move(inner)), at_(at) {}
    void commitTrans() override {
        if (++commits_ == at_) {
            std::fprintf(stderr, "paused before commit %d\n", at_);
            std::fflush(stderr);
            for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
        }
        inner().commitTrans();
    }

private:
    int at_, commits_ = 0;
};

}  // namespace

void addPostOptions(CLI::App& cmd, PostOptions& p) {
    std::vector<std::string> types;
    for (const auto& t : entry::TransactionTypes()) types.emplace_back(t.name);
    cmd.add_option("--type", p.type, "the transaction type, as the screen lists it")
        ->type_name("NAME")
        ->required()
        ->check(CLI::IsMember(types));
    auto date = CLI::Validator(
        [](std::string& text) {
            return readDate(text) ? std::string() : "needs a date written dd/MM/yyyy, not '" + text + "'";
        },
        "", "date");
    cmd.add_option("--from", p.from, "first day of the date range")
        ->type_name("dd/MM/yyyy")
        ->required()
        ->check(date);
    cmd.add_option("--to", p.to, "last day of the date range")
        ->type_name("dd/MM/yyyy")
        ->required()
        ->check(date);
    cmd.add_option("--department", p.department, "one department's id, or all (the default)")
        ->type_name("ID|all")
        ->check([](const std::string& text) {
            if (text == "all") return std::string();
            char* end = nullptr;
            long v = std::strtol(text.c_str(), &end, 10);
            return !text.empty() && *end == '\0' && v > 0 && v <= INT32_MAX
                       ? std::string()
                       : "needs a department id or all, not '" + text + "'";
        });
    cmd.add_option("--remarks", p.remarks, "the entries' remarks, at most 255 characters")
        ->type_name("TEXT")
        ->check([](const std::string& text) {
            // As long as the column: the screen's box would stop the typing there.
            const size_t n = common::utf8Length(common::validUtf8(text));
            return n <= 255
                       ? std::string()
                       : "is " + std::to_string(n) + " characters long; an entry's remarks hold at most 255";
        });
    cmd.add_flag("--dry-run", p.dryRun, "show the posting lines each entry would have and write nothing");
    cmd.footer(
        "The entries are dated on --date (default today). Exit status: 0 when every department with "
        "something to post was posted, 1 when some were not, 2 for a bad invocation or database.");
}

int runPost(const PostOptions& p, browser::PostSession session) {
    browser::PostRequest request;
    request.type = p.type;
    request.from = dateOf(p.from);
    request.to = dateOf(p.to);
    if (request.to < request.from) throw std::invalid_argument("--to comes before --from");
    if (p.department != "all")
        request.department = static_cast<int32_t>(std::strtol(p.department.c_str(), nullptr, 10));
    request.remarks = p.remarks;
    request.dryRun = p.dryRun;
    if (const char* k = std::getenv("PAYACC_TEST_PAUSE_BEFORE_COMMIT"); k && std::atoi(k) > 0)
        session.connection = std::make_shared<PauseBeforeCommit>(session.connection, std::atoi(k));

    const auto start = std::chrono::steady_clock::now();
    browser::PostAllDepartments run(session);
    auto outcomes = run.run(request, [&](int i, int n, const std::string& name) {
        if (std::chrono::steady_clock::now() - start > std::chrono::seconds(1))
            std::fprintf(stderr, "department %d of %d: %s\n", i, n, common::terminalText(name).c_str());
        return true;
    });
    if (!run.refused().empty()) {
        std::fprintf(stderr, "payacclink: %s\n", common::terminalText(run.refused()).c_str());
        return 1;
    }

    std::fputs(common::terminalText(browser::PostSummary(outcomes, p.dryRun, run.cancelled()), "\n").c_str(),
               stdout);
    std::fflush(stdout);
    bool failed = run.cancelled();
    for (const auto& d : outcomes) failed |= d.status == Status::NotPosted;
    return failed ? 1 : 0;
}

}  // namespace post

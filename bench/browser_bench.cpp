// The entry browser on a company with 100,000 saved entries: the load (list statement and
// GridPopulate), a sort chosen in cboColNames and a prefix search typed into txtsearch, all
// through the screen's own handlers. And the peak memory of a whole gathering and save of
// 10,000 employees' payroll (40,000 account lines), measured in a process of its own.
// Targets: load < 1 s, sort < 0.5 s, one search keystroke < 10 ms, gathering peak < 300 MB.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "data/ErrorLog.h"
#include "entry/Module.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "support/DemoSession.h"
#include "support/Generator.h"
#include "ui/Headless.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

constexpr int kSavedEntries = 100000;
constexpr int kGatherEmployees = 10000;
// Set in the environment of the child process that measures the gathering on its own.
constexpr const char* kChildJob = "PAYACC_BENCH_CHILD_JOB";

// A folder for this run's databases, removed when the run ends.
testsupport::TempDir& benchDir() {
    static testsupport::TempDir dir;
    return dir;
}

// 100,000 entries over five months of 10,000 runs: the first 50,000 stand and link their run,
// the rest are cancelled earlier attempts. All of them in the list (no date window).
const std::string& browserDb() {
    data::setComponentFolder(benchDir().path().string());
    return testsupport::templateDb("entries", false, [](data::Connection& c) {
        // One live entry a run of five months of 10,000 employees, each with a cancelled twin.
        testsupport::generateMonthEnd(c, {.departments = 1,
                                          .employees = 10000,
                                          .payments = 0,
                                          .months = 5,
                                          .postedMonths = 5,
                                          .entriesPerType = 10000,
                                          .cancelledEvery = 1});
        c.execute("update psettings set noofpreviousdays=0 where companyid=1");
    });
}

// One user's module on a database, the browser not yet loaded.
struct Session {
    explicit Session(const std::string& dbPath) : demo(toolkit, dbPath, false), module(demo.module) {}
    browser::FrmMaster& browser() { return module->FrmMaster(); }
    bool ok(benchmark::State& state) {
        if (toolkit.errors.empty()) return true;
        state.SkipWithError(toolkit.errors.back().description().c_str());
        return false;
    }

    ui::HeadlessToolkit toolkit;
    testsupport::DemoSession demo;
    std::unique_ptr<entry::Module>& module;
};

// The whole load: mapping, date window, list statement, GridPopulate, rights.
void BM_BrowserLoad(benchmark::State& state) {
    const std::string& db = browserDb();
    int rows = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto s = std::make_unique<Session>(db);
        state.ResumeTiming();
        rows = s->browser().flexMaster.rows() - 1;
        state.PauseTiming();
        if (!s->ok(state)) break;
        s.reset();
        state.ResumeTiming();
    }
    if (rows != kSavedEntries) state.SkipWithError("the list did not show every entry");
    state.counters["rows"] = rows;
}

// GridPopulate alone on the list statement, as a refresh after a save or cancellation runs it.
void BM_GridPopulate(benchmark::State& state) {
    Session s(browserDb());
    auto& f = s.browser();
    const std::string sql = s.module->session.listBaseQuery;
    for (auto _ : state) f.GridPopulate(sql);
    if (s.ok(state) && f.flexMaster.rows() - 1 != kSavedEntries) state.SkipWithError("rows missing");
}

struct SortCase {
    const char* caption;  // chosen in cboColNames
    const char* other;    // the order the grid is put in first
    int column;
};
// A number column, a text column of prefixed numbers, and a Yes/No column of many equal keys.
constexpr SortCase kSorts[] = {
    {"Trans ID", "Trans No", 0},
    {"Trans No", "Trans ID", 1},
    {"Cancelled", "Trans ID", 5},
};

// Descending on a column that is in another order when the user chooses it.
void BM_SortByColumn(benchmark::State& state) {
    const SortCase& c = kSorts[state.range(0)];
    state.SetLabel(c.caption);
    Session s(browserDb());
    auto& f = s.browser();
    for (auto _ : state) {
        state.PauseTiming();
        f.optAscend.userSet(true);
        f.cboColNames.userSelectText(c.other);
        f.optDescend.userSet(true);  // clears the choice, so the next one sorts descending
        state.ResumeTiming();
        f.cboColNames.userSelectText(c.caption);
    }
    if (!s.ok(state)) return;
    auto& g = f.flexMaster;
    const std::string &top = g.textMatrix(1, c.column), &bottom = g.textMatrix(g.rows() - 1, c.column);
    const bool numbers = common::IsNumeric(top) && common::IsNumeric(bottom);
    if (g.col() != c.column ||
        (numbers ? common::Val(top) < common::Val(bottom) : common::UCase(top) < common::UCase(bottom)))
        state.SkipWithError("not sorted descending on the chosen column");
}

// The last keystroke of "PAL/4242" in txtsearch with "Trans No" chosen in cboSearch. Each
// keystroke sorts the column, then reads the rows before the first match: range(0) 0 has the
// grid in TransID order first (the first keystroke after a load or another sort; in natural
// order the entry numbers are already in TransID order), 1 has it sorted on the column already
// (every further keystroke).
void BM_PrefixSearch(benchmark::State& state) {
    const bool sortedAlready = state.range(0) == 1;
    state.SetLabel(sortedAlready ? "column already sorted" : "grid in another order");
    Session s(browserDb());
    auto& f = s.browser();
    f.cboSearch.userSelectText("Trans No");
    const std::string prefix = "PAL/4242";
    for (auto _ : state) {
        state.PauseTiming();
        if (!sortedAlready) {
            f.optAscend.userSet(true);
            f.cboColNames.setListIndex(-1);
            f.cboColNames.userSelectText("Trans ID");
        }
        f.txtsearch.setText(prefix.substr(0, prefix.size() - 1));
        state.ResumeTiming();
        f.txtsearch.userKey(prefix.back());
    }
    if (!s.ok(state)) return;
    auto& g = f.flexMaster;
    if (g.textMatrix(g.row(), 1) != prefix || g.topRow() != g.row())
        state.SkipWithError("the search did not land on the first match");
}

// The grid's ascending sort of the search column on its own, the column already in order: the
// part of every search keystroke that is the grid's.
void BM_SearchColumnSortAlone(benchmark::State& state) {
    Session s(browserDb());
    auto& g = s.browser().flexMaster;
    g.setCol(1);
    g.setColSel(1);
    g.sort(ui::FlexGrid::flexSortGenericAscending);
    for (auto _ : state) g.sort(ui::FlexGrid::flexSortGenericAscending);
}

// ---------------------------------------------------------------- gathering peak memory

// The peak of a process is inherited from the one that starts it, so the gathering runs in a
// process of its own, started while this one is still small (this benchmark is the first of
// the run), and the database it works on is made by yet another one.

std::string statusField(const std::string& name) {
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind(name + ":", 0) == 0) return line.substr(name.size() + 1);
    return "0";
}

long maxRssKb() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

// Child, job "make DB": the 10,000 employees' October payroll.
void makeGatheringDb(const std::string& db) {
    testsupport::makeDb(db, false, [](data::Connection& c) {
        testsupport::generateMonthEnd(
            c,
            {.departments = 1, .employees = kGatherEmployees, .payments = 0, .months = 1, .postedMonths = 0});
    });
}

// Child, job "gather DB OUT": a new entry of all 10,000 runs, saved; writes
// "ru_maxrss_kb vmhwm_kb detail_rows" or the error to OUT.
void gatherAndSave(const std::string& db, const std::string& out) {
    std::ofstream result(out);
    Session s(db);
    s.browser().cmdnew.userClick();
    auto& f = s.module->frmPayrollAccountsLinking();
    f.cboType.userSelectText("Payroll");
    for (int i = 0; i < f.cboDepartment.listCount(); ++i)
        if (f.cboDepartment.itemData(i) == 1) f.cboDepartment.userSelect(i);
    f.cmdShow.userClick();
    const int rows = f.lvwTransactionDetails.count();
    f.chkSelectAll.userClick();
    f.cmdOk.userClick();
    if (!s.toolkit.errors.empty()) {
        result << "error " << s.toolkit.errors.back().description() << "\n";
        return;
    }
    if (s.module->isLoaded("frmPayrollAccountsLinking")) {
        result << "error not saved: " << (s.toolkit.lastMessage() ? s.toolkit.lastMessage()->text : "")
               << "\n";
        return;
    }
    s.module.reset();
    result << maxRssKb() << " " << std::atol(statusField("VmHWM").c_str()) << " " << rows << "\n";
}

// Starts this program again with only this benchmark selected and the job in the
// environment; its output goes to a file. Returns the exit status, -1 when it did not start.
int runChild(const std::string& job, const std::string& logFile) {
    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e)
        if (std::string(*e).rfind(std::string(kChildJob) + "=", 0) != 0) env.emplace_back(*e);
    env.push_back(std::string(kChildJob) + "=" + job);
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::string exe = "/proc/self/exe", filter = "--benchmark_filter=^BM_GatheringPeakMemory/";
    char* argv[] = {exe.data(), filter.data(), nullptr};

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, logFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid = 0;
    int rc = posix_spawn(&pid, exe.c_str(), &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void BM_GatheringPeakMemory(benchmark::State& state) {
    if (const char* job = std::getenv(kChildJob)) {
        std::istringstream words(job);
        std::string verb, db, out;
        words >> verb >> db >> out;
        data::setComponentFolder(fs::path(db).parent_path().string());
        for (auto _ : state) {
            if (verb == "make") makeGatheringDb(db);
            if (verb == "gather") gatherAndSave(db, out);
        }
        return;
    }

    const std::string db = benchDir().file("gather.db"), work = benchDir().file("gather-work.db");
    const std::string out = benchDir().file("gather-peak.txt"), log = benchDir().file("gather-child.log");
    const long parentKb = maxRssKb();
    long peakKb = 0, hwmKb = 0, rows = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (!fs::exists(db) && (runChild("make " + db, log) != 0 || !fs::exists(db))) {
            state.SkipWithError(("making the database failed: " + readFile(log)).c_str());
            break;
        }
        fs::copy_file(db, work, fs::copy_options::overwrite_existing);
        fs::remove(out);
        state.ResumeTiming();
        const int status = runChild("gather " + work + " " + out, log);
        state.PauseTiming();
        std::istringstream result(readFile(out));
        if (status != 0 || !(result >> peakKb >> hwmKb >> rows)) {
            state.SkipWithError(("the gathering failed: " + readFile(out) + readFile(log)).c_str());
            break;
        }
        state.ResumeTiming();
    }
    state.counters["ru_maxrss_MB"] = static_cast<double>(peakKb) / 1024.0;
    // The child's own high-water mark since it started, free of what it inherited.
    state.counters["own_hwm_MB"] = static_cast<double>(hwmKb) / 1024.0;
    // What ru_maxrss cannot fall below: the peak of this process when it started the child.
    state.counters["parent_rss_MB"] = static_cast<double>(parentKb) / 1024.0;
    state.counters["detail_rows"] = static_cast<double>(rows);
    if (rows != 4 * kGatherEmployees) state.SkipWithError("the retrieval did not bring every account line");
}

}  // namespace

// First, while this process is small: see the note above BM_GatheringPeakMemory.
BENCHMARK(BM_GatheringPeakMemory)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_BrowserLoad)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_GridPopulate)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_SortByColumn)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_PrefixSearch)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_SearchColumnSortAlone)->Unit(benchmark::kMillisecond)->Iterations(20);

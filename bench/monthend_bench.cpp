// Month-end checks on a large company: 1,002,000 sources (24 months of 25 departments, each
// with 800 payroll runs and 870 payments a month, in three currencies) of which the first
// 19 months are linked by 10,000 entries (9,975 live, 25 cancelled twins; 2.4 million detail
// rows). The status of one month and the audit of the whole database, each in a process of
// its own, so that its time and peak memory are its own; then the same through the program,
// start-up checks included. Targets: each check under 2 s and 200 MB.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "data/TableNames.h"
#include "data/sqlite/SqliteConnection.h"
#include "report/LedgerAudit.h"
#include "report/MonthStatus.h"
#include "support/DemoSession.h"
#include "support/Generator.h"

namespace {

namespace fs = std::filesystem;

// Made once per run, in a child process: a process started later counts the size of its
// parent at the start as its own peak, so the parent stays small.
const std::string& companyDb() {
    static testsupport::TempDir dir;
    static const std::string path = [] {
        const std::string db = dir.file("monthend.db");
        const pid_t pid = ::fork();
        if (pid == 0) {
            testsupport::makeDb(db, false, [](data::Connection& c) {
                testsupport::MonthEndOptions o;
                o.departments = 25;
                o.employees = 800;
                o.payments = 870;
                o.months = 24;
                o.postedMonths = 19;
                o.entriesPerType = 3;
                o.cancelledEvery = 400;
                testsupport::generateMonthEnd(c, o);
            });
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(pid, &status, 0);
        return db;
    }();
    return path;
}

// The job a child started by runChecks does: the check's name and the database, else unset.
constexpr const char* kJob = "PAYACC_BENCH_MONTHEND_JOB";

// Runs argv in a process of its own, output thrown away: the wall time, its CPU time, its peak
// memory and its exit status, which must be the expected one.
void spawn(benchmark::State& state, std::vector<std::string> words, const std::string& env, int expected) {
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    std::string logs = "PAYACC_LOG_DIR=" + fs::path(companyDb()).parent_path().string(), job = env;
    char* envp[] = {logs.data(), job.data(), nullptr};
    if (job.empty()) envp[1] = nullptr;
    double cpu = 0, peakMb = 0;
    int status = -1;
    for (auto _ : state) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        const auto start = std::chrono::steady_clock::now();
        pid_t pid = 0;
        if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp) != 0) pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        int raw = 0;
        rusage usage{};
        if (pid > 0) ::wait4(pid, &raw, 0, &usage);
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        status = pid > 0 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
              static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
        peakMb = static_cast<double>(usage.ru_maxrss) / 1024.0;
    }
    if (status != expected)
        state.SkipWithError(
            ("exit status " + std::to_string(status) + ", expected " + std::to_string(expected)).c_str());
    state.counters["cpu_s"] = cpu;
    state.counters["peak_MB"] = peakMb;
}

// The check itself, in a child that is this program again running only this benchmark with
// the job set: its exit status 1 when something is open or found, else 0.
void runCheck(benchmark::State& state, const std::string& benchmark, const char* check, int expected) {
    if (const char* job = std::getenv(kJob)) {
        auto c = data::sqlite::open(job);
        data::TableNames t;
        data::AssignTableName(*c, t);
        report::StatusFilter f;
        f.from = common::DateTime::ymd(2026, 10, 1);
        f.to = common::DateTime::ymd(2026, 10, 31);
        const bool something = std::string(check) == "status"
                                   ? report::LoadMonthStatus({*c, t, 1, 1}, f).total().open > 0
                                   : !report::RunAudit(*c, t, 60).findings.empty();
        std::_Exit(something ? 1 : 0);
    }
    spawn(state, {"/proc/self/exe", "--benchmark_filter=^" + benchmark + "/"},
          std::string(kJob) + "=" + companyDb(), expected);
}

// The program's command, as a scheduler runs it: the start-up checks of the database file
// (every page read once) and the session included.
void runCommand(benchmark::State& state, const std::string& args, int expected) {
    std::vector<std::string> words{PAYACC_BINARY_DIR "/app/payacclink"};
    std::istringstream split(args + " --db " + companyDb());
    for (std::string word; split >> word;) words.push_back(word);
    spawn(state, words, "", expected);
}

// October 2026, the last month, is open; a clean database has no findings.
void BM_StatusOfOneMonth(benchmark::State& state) { runCheck(state, "BM_StatusOfOneMonth", "status", 1); }
void BM_AuditOfTheWholeDatabase(benchmark::State& state) {
    runCheck(state, "BM_AuditOfTheWholeDatabase", "audit", 0);
}
void BM_StatusCommand(benchmark::State& state) {
    runCommand(state, "status --from 01/10/2026 --to 31/10/2026", 1);
}
void BM_AuditCommand(benchmark::State& state) { runCommand(state, "audit", 0); }

}  // namespace

BENCHMARK(BM_StatusOfOneMonth)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(BM_AuditOfTheWholeDatabase)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(BM_StatusCommand)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(BM_AuditCommand)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

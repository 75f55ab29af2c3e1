// Month-end checks on a large company: 1,002,000 sources (24 months of 25 departments, each
// with 800 payroll runs and 870 payments a month, in three currencies) of which the first
// 19 months are linked by 10,000 entries (9,975 live, 25 cancelled twins; 2.4 million detail
// rows). The program's status of one month and its audit of the whole database, each in a
// process of its own, so that its time and peak memory are its own. Targets: each under 2 s
// and 200 MB.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

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

// Runs the program's command on the database in a process of its own, as a scheduler would,
// with its output thrown away: the wall time, its CPU time and peak memory, its exit status.
void runCommand(benchmark::State& state, const std::string& args, int expectedStatus) {
    const std::string& db = companyDb();
    std::string program = PAYACC_BINARY_DIR "/app/payacclink",
                logs = "PAYACC_LOG_DIR=" + fs::path(db).parent_path().string();
    std::vector<std::string> words{program};
    for (std::string word : {args + " --db " + db})
        for (size_t at = 0; at != std::string::npos;) {
            const size_t space = word.find(' ', at);
            words.push_back(word.substr(at, space - at));
            at = space == std::string::npos ? space : space + 1;
        }
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    char* envp[] = {logs.data(), nullptr};
    double cpu = 0, peakMb = 0;
    int status = -1;
    for (auto _ : state) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        const auto start = std::chrono::steady_clock::now();
        pid_t pid = 0;
        if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp) != 0) pid = -1;
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
    if (status != expectedStatus)
        state.SkipWithError(
            ("exit status " + std::to_string(status) + ", expected " + std::to_string(expectedStatus))
                .c_str());
    state.counters["cpu_s"] = cpu;
    state.counters["peak_MB"] = peakMb;
}

// October 2026, the last month, is open: status 1.
void BM_StatusOfOneMonth(benchmark::State& state) {
    runCommand(state, "status --from 01/10/2026 --to 31/10/2026", 1);
}

// A clean database: no findings, status 0, after reading every entry and every source.
void BM_AuditOfTheWholeDatabase(benchmark::State& state) { runCommand(state, "audit", 0); }

}  // namespace

BENCHMARK(BM_StatusOfOneMonth)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(BM_AuditOfTheWholeDatabase)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

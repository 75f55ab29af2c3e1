// Month-end posting of one type over a whole company: 100 departments of 500 employees each
// (50,000 employees, 200,000 account lines), one month. The whole run (target < 6 s, peak
// memory < 400 MB) and one department's New, Show, Select All and Ok through the same driver.
// Each run works in a child process on a fresh copy, so that its peak memory is its own.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

#include "browser/PostAllDepartments.h"
#include "data/ErrorLog.h"
#include "data/sqlite/SqliteConnection.h"
#include "support/DemoSession.h"
#include "support/Generator.h"

namespace {

namespace fs = std::filesystem;

constexpr int kDepartments = 100;
constexpr int kEmployeesEach = 500;

const std::string& companyDb() {
    const std::string& path = testsupport::templateDb("post-company", false, [](data::Connection& c) {
        testsupport::generateMonthEnd(c, {.departments = kDepartments,
                                          .employees = kEmployeesEach,
                                          .payments = 0,
                                          .months = 1,
                                          .postedMonths = 0});
    });
    data::setComponentFolder(fs::path(path).parent_path().string());
    return path;
}

// Posts in a child on its own copy; the wall time, the child's CPU time and peak memory.
void postInChild(benchmark::State& state, std::optional<int32_t> department) {
    const std::string copy = companyDb() + ".work.db";
    double cpu = 0, peakMb = 0;
    int posted = 0;
    for (auto _ : state) {
        // A child ends without closing, so its write-ahead log would outlive the copy.
        for (const char* suffix : {"", "-wal", "-shm", "-journal"}) fs::remove(copy + suffix);
        fs::copy_file(companyDb(), copy);
        auto start = std::chrono::steady_clock::now();
        pid_t pid = ::fork();
        if (pid == 0) {
            browser::PostSession s;
            s.connection = data::sqlite::open(copy);
            s.processDate = "28/10/2026";
            browser::PostRequest r;
            r.type = "Payroll";
            r.from = common::DateTime::ymd(2026, 10, 1);
            r.to = common::DateTime::ymd(2026, 10, 31);
            r.department = department;
            browser::PostAllDepartments run(s);
            int n = 0;
            for (const auto& d : run.run(r)) {
                if (d.status == browser::DepartmentOutcome::Status::Posted)
                    ++n;
                else
                    std::fprintf(stderr, "%s: %s\n", d.name.c_str(), d.reason.c_str());
            }
            if (!run.refused().empty()) std::fprintf(stderr, "%s\n", run.refused().c_str());
            ::_exit(n > 255 ? 255 : n);
        }
        int status = 0;
        rusage usage{};
        ::wait4(pid, &status, 0, &usage);
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        posted = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
              static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
        peakMb = static_cast<double>(usage.ru_maxrss) / 1024.0;
    }
    const int expected = department ? 1 : kDepartments;
    if (posted != expected)
        state.SkipWithError(("posted " + std::to_string(posted) + " of " + std::to_string(expected)).c_str());
    state.counters["child_cpu_s"] = cpu;
    state.counters["peak_MB"] = peakMb;
}

void BM_PostAllDepartments(benchmark::State& state) { postInChild(state, std::nullopt); }
void BM_PostOneDepartment(benchmark::State& state) { postInChild(state, 50); }

}  // namespace

BENCHMARK(BM_PostAllDepartments)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);
BENCHMARK(BM_PostOneDepartment)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

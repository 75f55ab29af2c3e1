#pragma once
// Drives the screens from a text script, headless, one line at a time, and prints a
// transcript of what a person would have seen. A form shown modally takes the following
// lines until it unloads, so modal forms nest as they do on screen.
#include <cstddef>
#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "data/Trace.h"
#include "ui/Headless.h"

namespace script {

class ScriptRunner {
public:
    ScriptRunner(ui::HeadlessToolkit& toolkit, std::ostream& out);

    // The traced session connection that expect-sql reads; without it expect-sql fails.
    void setTrace(data::TraceConnection* trace) { trace_ = trace; }

    // Runs the script: start shows the first form (the runner drives every modal form while
    // it is open), then the lines left over run with no form shown. Returns 0, or 1 when a
    // line fails (its number and the reason are printed). At the end of the script forms
    // still open are left as they are, without their unload events.
    int run(std::istream& script, const std::function<void()>& start);

    struct Line {
        int number = 0;
        std::string command;
        std::vector<std::string> args;  // the words before the text
        std::string text;               // the rest of the line, quotes removed
    };

private:
    struct Target {
        ui::Form* form = nullptr;
        ui::Control* control = nullptr;  // nullptr: the form itself
    };

    void parse(std::istream& script);
    void drive(ui::Form& form);
    void execute(const Line& line);
    void dispatch(const Line& line);
    Target resolve(const std::string& name) const;
    bool tryResolve(const std::string& name, Target& target) const;
    ui::Control& control(const std::string& name) const;
    ui::Control& reachableControl(const std::string& name) const;
    std::string property(const Target& t, const std::string& prop, const std::string& name) const;
    void expectEqual(const std::string& what, const std::string& expected, const std::string& actual) const;
    int rowArg(const std::string& text) const;
    void dump(const std::string& name);
    void flush();
    [[noreturn]] void fail(const std::string& message) const;

    ui::HeadlessToolkit& toolkit_;
    std::ostream& out_;
    data::TraceConnection* trace_ = nullptr;
    std::vector<Line> lines_;
    size_t next_ = 0;
    int current_ = 0;     // number of the line being run
    int erred_ = 0;       // the first line whose command raised an error no handler caught
    size_t printed_ = 0;  // transcript entries already printed
    size_t sqlMark_ = 0;  // trace entries already looked at by expect-sql
};

}  // namespace script

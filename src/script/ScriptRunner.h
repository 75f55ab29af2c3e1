#pragma once
// Drives the screens from a text script, headless, one line at a time, and prints a
// transcript of what a person would have seen. A form shown modally takes the following
// lines until it unloads, so modal forms nest as they do on screen.
#include <cstddef>
#include <functional>
#include <istream>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "data/Trace.h"
#include "ui/Headless.h"
#include "ui/UserActions.h"

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

    using Line = ui::ScriptLine;

private:
    // The headless toolkit as the user actions see it.
    class Host : public ui::UserActions::Host {
    public:
        explicit Host(ui::HeadlessToolkit& toolkit) : toolkit_(toolkit) {}
        ui::Form* topForm() const override { return toolkit_.topForm(); }
        ui::Form* findForm(const std::string& name) const override { return toolkit_.findForm(name); }
        void queueAnswer(int answer) override { toolkit_.answers.push_back(answer); }

    private:
        ui::HeadlessToolkit& toolkit_;
    };
    using Target = ui::UserActions::Target;
    using Command = void (ScriptRunner::*)(const Line&);
    static const std::map<std::string, Command>& commands();
    static const ui::ScriptSyntaxTable& syntax();

    void parse(std::istream& script);
    void drive(ui::Form& form);
    void execute(const Line& line);
    void dispatch(const Line& line);
    void userAction(const Line& line);
    void expect(const Line& line);
    void expectCell(const Line& line);
    void expectChecked(const Line& line);
    void expectHeader(const Line& line);
    void expectMessage(const Line& line);
    void expectSql(const Line& line);
    void dump(const Line& line);
    std::string property(const Target& t, const std::string& prop, const std::string& name) const;
    void expectEqual(const std::string& what, const std::string& expected, const std::string& actual) const;
    void flush();
    [[noreturn]] void fail(const std::string& message) const;

    ui::HeadlessToolkit& toolkit_;
    Host host_;
    ui::UserActions actions_;
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

#include "script/ScriptRunner.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "common/Conv.h"
#include "common/DateTime.h"

namespace script {

namespace {

// Thrown through the screens' handlers to leave the script: neither is a std::exception nor
// a common::Error, so no handler on the way catches it.
struct Failure {
    int line;
    std::string message;
};
struct EndOfScript {};

const std::set<std::string>& propertyNames() {
    static const std::set<std::string> names{"text",  "caption", "enabled", "visible", "locked", "listindex",
                                             "value", "rows",    "row",     "col",     "cols",   "tooltip"};
    return names;
}

std::string trimBlanks(const std::string& s) {
    size_t a = s.find_first_not_of(" \t\r\n");
    if (a == std::string::npos) return "";
    size_t b = s.find_last_not_of(" \t\r\n");
    return s.substr(a, b - a + 1);
}

std::string boolText(bool b) { return b ? "true" : "false"; }

std::string dateText(const common::DateTime& d) { return common::formatDate(d, "dd/MM/yyyy"); }

}  // namespace

ScriptRunner::ScriptRunner(ui::HeadlessToolkit& toolkit, std::ostream& out)
    : toolkit_(toolkit), host_(toolkit), actions_(host_), out_(out) {}

void ScriptRunner::fail(const std::string& message) const { throw Failure{current_, message}; }

const ui::ScriptSyntaxTable& ScriptRunner::syntax() {
    static const ui::ScriptSyntaxTable table = [] {
        ui::ScriptSyntaxTable t = ui::UserActions::syntax();
        t.insert({
            {"expect", {1, true}},
            {"expect-cell", {3, true}},
            {"expect-checked", {3, false}},
            {"expect-header", {2, true}},
            {"expect-message", {0, true}},
            {"expect-sql", {0, true}},
            {"dump", {1, false}},
        });
        return t;
    }();
    return table;
}

const std::map<std::string, ScriptRunner::Command>& ScriptRunner::commands() {
    static const std::map<std::string, Command> table = [] {
        std::map<std::string, Command> t{
            {"expect", &ScriptRunner::expect},
            {"expect-cell", &ScriptRunner::expectCell},
            {"expect-checked", &ScriptRunner::expectChecked},
            {"expect-header", &ScriptRunner::expectHeader},
            {"expect-message", &ScriptRunner::expectMessage},
            {"expect-sql", &ScriptRunner::expectSql},
            {"dump", &ScriptRunner::dump},
        };
        for (const auto& action : ui::UserActions::syntax())
            t.insert({action.first, &ScriptRunner::userAction});
        return t;
    }();
    return table;
}

void ScriptRunner::parse(std::istream& script) {
    std::string raw;
    int number = 0;
    while (std::getline(script, raw)) {
        ++number;
        // A byte-order mark that an editor put before the first line.
        if (number == 1 && raw.rfind("\xEF\xBB\xBF", 0) == 0) raw.erase(0, 3);
        std::string s = trimBlanks(raw);
        if (s.empty() || s[0] == '#') continue;
        try {
            Line line = ui::parseScriptLine(s, syntax());
            line.number = number;
            lines_.push_back(std::move(line));
        } catch (const ui::ActionFailed& f) {
            throw Failure{number, f.message};
        }
    }
}

int ScriptRunner::run(std::istream& script, const std::function<void()>& start) {
    printed_ = toolkit_.transcript.size();
    if (trace_) sqlMark_ = trace_->entries().size();
    auto previousDriver = toolkit_.onModal;
    erred_ = 0;
    int status = 0;
    try {
        parse(script);
        toolkit_.onModal = [this](ui::Form& form) { drive(form); };
        try {
            start();
        } catch (const common::Error& e) {
            // Starting failed as the host would see it: shown, and the script goes on.
            toolkit_.showError(e);
        }
        flush();
        while (next_ < lines_.size()) execute(lines_[next_++]);
    } catch (const EndOfScript&) {
    } catch (const Failure& f) {
        flush();
        out_ << "FAIL line " << f.line << ": " << f.message << "\n";
        status = 1;
    } catch (const ui::UnansweredMessageBox& e) {
        flush();
        out_ << "FAIL line " << current_ << ": no answer for the message box \"" << e.what() << "\"\n";
        status = 1;
    } catch (const std::exception& e) {
        flush();
        out_ << "FAIL line " << current_ << ": " << e.what() << "\n";
        status = 1;
    }
    toolkit_.onModal = previousDriver;
    // A command that failed fails the script, also one without expect lines.
    if (status == 0 && erred_ > 0) {
        flush();
        out_ << "FAIL line " << erred_ << ": the command raised an error that no handler caught\n";
        status = 1;
    }
    if (status == 0) {
        flush();
        out_ << "OK\n";
    }
    out_.flush();
    return status;
}

void ScriptRunner::drive(ui::Form& form) {
    auto open = [&] {
        const auto& stack = toolkit_.stack();
        return std::find(stack.begin(), stack.end(), &form) != stack.end();
    };
    flush();
    while (open()) {
        if (next_ >= lines_.size()) throw EndOfScript{};
        execute(lines_[next_++]);
    }
}

void ScriptRunner::execute(const Line& line) {
    int outer = current_;
    current_ = line.number;
    const size_t errors = toolkit_.errors.size();
    try {
        dispatch(line);
    } catch (const ui::ActionFailed& f) {
        fail(f.message);
    } catch (const ui::UnansweredMessageBox& e) {
        flush();
        fail(std::string("no answer for the message box \"") + e.what() + "\"");
    } catch (const common::Error& e) {
        // Raised outside any event (a property read on a closed form, say): shown as the
        // front end would, and the script goes on.
        toolkit_.showError(e);
    }
    if (erred_ == 0 && toolkit_.errors.size() > errors) erred_ = line.number;
    flush();
    current_ = outer;
}

void ScriptRunner::flush() {
    for (; printed_ < toolkit_.transcript.size(); ++printed_) out_ << toolkit_.transcript[printed_] << "\n";
}

void ScriptRunner::expectEqual(const std::string& what, const std::string& expected,
                               const std::string& actual) const {
    if (expected != actual) fail(what + ": expected \"" + expected + "\", got \"" + actual + "\"");
}

std::string ScriptRunner::property(const Target& t, const std::string& prop, const std::string& name) const {
    auto noSuch = [&]() -> std::string { fail(name + " has no property " + prop); };
    if (!t.control) {
        if (prop == "text" || prop == "caption") return t.form->caption();
        return noSuch();
    }
    ui::Control& c = *t.control;
    auto* text = dynamic_cast<ui::TextBox*>(&c);
    auto* combo = dynamic_cast<ui::ComboBox*>(&c);
    auto* check = dynamic_cast<ui::CheckBox*>(&c);
    auto* option = dynamic_cast<ui::OptionButton*>(&c);
    auto* date = dynamic_cast<ui::DatePicker*>(&c);
    auto* list = dynamic_cast<ui::ListView*>(&c);
    auto* grid = dynamic_cast<ui::FlexGrid*>(&c);

    if (prop == "caption") return c.caption();
    if (prop == "enabled") return boolText(c.enabled());
    if (prop == "visible") return boolText(c.visible());
    if (prop == "tooltip") return c.toolTipText();
    if (prop == "text" || prop == "value") {
        if (text) return text->text();
        if (combo) return combo->text();
        if (date) return dateText(date->value());
        if (prop == "value" && check) return std::to_string(check->value());
        if (prop == "value" && option) return boolText(option->value());
        if (list) return list->selectedIndex() > 0 ? list->text(list->selectedIndex()) : "";
        if (grid)
            return grid->rows() > 0 && grid->cols() > 0 ? grid->textMatrix(grid->row(), grid->col()) : "";
        if (prop == "text") return c.caption();
        return noSuch();
    }
    if (prop == "locked") {
        if (text) return boolText(text->locked());
        if (combo) return boolText(combo->locked());
        return noSuch();
    }
    if (prop == "listindex") {
        if (combo) return std::to_string(combo->listIndex());
        return noSuch();
    }
    if (prop == "rows") {
        if (list) return std::to_string(list->count());
        if (grid) return std::to_string(grid->rows());
        if (combo) return std::to_string(combo->listCount());
        return noSuch();
    }
    if (prop == "row") {
        if (list) return std::to_string(list->selectedIndex());
        if (grid) return std::to_string(grid->row());
        return noSuch();
    }
    if (prop == "col") {
        if (grid) return std::to_string(grid->col());
        return noSuch();
    }
    if (prop == "cols") {
        if (list) return std::to_string(list->columnCount());
        if (grid) return std::to_string(grid->cols());
        return noSuch();
    }
    return noSuch();
}

void ScriptRunner::dispatch(const Line& line) {
    auto it = commands().find(line.command);
    if (it == commands().end()) fail("unknown command '" + ui::quoteLine(line.command) + "'");
    (this->*(it->second))(line);
}

void ScriptRunner::userAction(const Line& line) {
    try {
        actions_.run(line);
    } catch (const ui::ActionFailed& f) {
        fail(f.message);
    }
}

void ScriptRunner::expect(const Line& line) {
    const std::string& a0 = line.args[0];
    std::string name = a0, prop = "text";
    Target t;
    size_t dot = name.rfind('.');
    if (dot != std::string::npos && propertyNames().count(common::LCase(name.substr(dot + 1))) &&
        actions_.tryResolve(name.substr(0, dot), t)) {
        prop = common::LCase(name.substr(dot + 1));
        name = name.substr(0, dot);
    } else if (!actions_.tryResolve(name, t) && dot != std::string::npos &&
               actions_.tryResolve(name.substr(0, dot), t)) {
        fail("no property " + ui::quoteLine(name.substr(dot + 1)));
    } else {
        t = actions_.resolve(name);
    }
    expectEqual("expect " + a0, line.text, property(t, prop, name));
}

void ScriptRunner::expectHeader(const Line& line) {
    ui::Control& c = actions_.control(line.args[0]);
    auto* list = dynamic_cast<ui::ListView*>(&c);
    auto* grid = dynamic_cast<ui::FlexGrid*>(&c);
    if (!list && !grid) fail(line.args[0] + " is not a list or a grid");
    int col = ui::UserActions::number(line.args[1]);
    int cols = list ? list->columnCount() : grid->cols();
    if (col < 0 || col >= cols) fail("column " + std::to_string(col) + " out of range");
    expectEqual("expect-header " + line.args[0] + " " + line.args[1], line.text,
                list ? list->columnHeader(col) : grid->textMatrix(0, col));
}

void ScriptRunner::expectChecked(const Line& line) {
    ui::Control& c = actions_.control(line.args[0]);
    auto* list = dynamic_cast<ui::ListView*>(&c);
    if (!list && !dynamic_cast<ui::FlexGrid*>(&c)) fail(line.args[0] + " is not a list or a grid");
    int row = ui::UserActions::number(line.args[1]);
    if (!list) fail(line.args[0] + " is not a list");
    int want = ui::UserActions::number(line.args[2]);
    if (row < 1 || row > list->count()) fail("row " + std::to_string(row) + " out of range");
    expectEqual("expect-checked " + line.args[0] + " " + line.args[1], std::to_string(want),
                list->checked(row) ? "1" : "0");
}

void ScriptRunner::expectCell(const Line& line) {
    ui::Control& c = actions_.control(line.args[0]);
    auto* list = dynamic_cast<ui::ListView*>(&c);
    auto* grid = dynamic_cast<ui::FlexGrid*>(&c);
    if (!list && !grid) fail(line.args[0] + " is not a list or a grid");
    int row = ui::UserActions::number(line.args[1]);
    int col = ui::UserActions::number(line.args[2]);
    std::string actual;
    if (list) {
        if (row < 0 || row > list->count()) fail("row " + std::to_string(row) + " out of range");
        if (col < 0 || col >= std::max(1, list->columnCount()))
            fail("column " + std::to_string(col) + " out of range");
        actual = row == 0 ? list->columnHeader(col) : list->cell(row, col);
    } else {
        if (row < 0 || row >= grid->rows()) fail("row " + std::to_string(row) + " out of range");
        if (col < 0 || col >= grid->cols()) fail("column " + std::to_string(col) + " out of range");
        actual = grid->textMatrix(row, col);
    }
    expectEqual("expect-cell " + line.args[0] + " " + line.args[1] + " " + line.args[2], line.text, actual);
}

void ScriptRunner::expectMessage(const Line& line) {
    const ui::MessageBoxRequest* m = toolkit_.lastMessage();
    if (!m) fail("no message box was shown");
    expectEqual("expect-message", line.text, m->text);
}

void ScriptRunner::expectSql(const Line& line) {
    if (!trace_) fail("no statement trace for expect-sql");
    const auto& entries = trace_->entries();
    size_t from = std::min(sqlMark_, entries.size());
    sqlMark_ = entries.size();
    for (size_t i = from; i < entries.size(); ++i) {
        auto kind = entries[i].kind;
        bool statement = kind == data::TraceEntry::Kind::Execute || kind == data::TraceEntry::Kind::Open ||
                         kind == data::TraceEntry::Kind::Command;
        if (statement && entries[i].text.find(line.text) != std::string::npos) return;
    }
    fail("no statement since the last expect-sql contains \"" + ui::quoteLine(line.text) + "\"");
}

void ScriptRunner::dump(const Line& line) {
    const std::string& name = line.args[0];
    ui::Control& c = actions_.control(name);
    std::ostringstream s;
    s << "DUMP " << name << "\n";
    if (auto* list = dynamic_cast<ui::ListView*>(&c)) {
        int cols = std::max(1, list->columnCount());
        s << "0\t[-]";
        for (int col = 0; col < list->columnCount(); ++col) s << "\t" << list->columnHeader(col);
        if (list->columnCount() == 0) s << "\t";
        s << "\n";
        for (int row = 1; row <= list->count(); ++row) {
            s << row << "\t" << (list->checked(row) ? "[x]" : "[ ]");
            for (int col = 0; col < cols; ++col) s << "\t" << list->cell(row, col);
            s << "\n";
        }
    } else if (auto* grid = dynamic_cast<ui::FlexGrid*>(&c)) {
        for (int row = 0; row < grid->rows(); ++row) {
            s << row;
            for (int col = 0; col < grid->cols(); ++col) s << "\t" << grid->textMatrix(row, col);
            s << "\n";
        }
    } else {
        fail(name + " is not a list or a grid");
    }
    flush();
    out_ << s.str();
}

}  // namespace script

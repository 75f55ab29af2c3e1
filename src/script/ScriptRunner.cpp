#include "script/ScriptRunner.h"

#include <algorithm>
#include <charconv>
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

// Commands: how many words come before the text, and whether a text is taken.
struct Syntax {
    int words;
    bool text;
};
const std::map<std::string, Syntax>& commands() {
    static const std::map<std::string, Syntax> table{
        {"click", {1, false}},        {"select", {1, true}},         {"set", {1, true}},
        {"type", {1, true}},          {"tick", {2, false}},          {"check", {2, false}},
        {"row", {2, false}},          {"key", {2, false}},           {"popup", {1, false}},
        {"dblclick", {1, false}},     {"answer", {1, false}},        {"close", {0, false}},
        {"expect", {1, true}},        {"expect-cell", {3, true}},    {"expect-checked", {3, false}},
        {"expect-header", {2, true}}, {"expect-message", {0, true}}, {"expect-sql", {0, true}},
        {"dump", {1, false}},
    };
    return table;
}

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

std::string unquote(const std::string& s) {
    if (s.size() >= 2 && s.front() == '"' && s.back() == '"') return s.substr(1, s.size() - 2);
    return s;
}

bool parseInt(const std::string& s, int& v) {
    auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
    return ec == std::errc() && p == s.data() + s.size();
}

std::string boolText(bool b) { return b ? "true" : "false"; }

std::string dateText(const common::DateTime& d) { return common::formatDate(d, "dd/MM/yyyy"); }

// Keys that do not type a character: they reach a text box as a key down only.
bool isNavigationKey(int code) {
    return (code >= 33 && code <= 40) || code == 45 || code == ui::vbKeyDelete ||
           (code >= 112 && code <= 123);
}

}  // namespace

ScriptRunner::ScriptRunner(ui::HeadlessToolkit& toolkit, std::ostream& out) : toolkit_(toolkit), out_(out) {}

void ScriptRunner::fail(const std::string& message) const { throw Failure{current_, message}; }

void ScriptRunner::parse(std::istream& script) {
    std::string raw;
    int number = 0;
    while (std::getline(script, raw)) {
        ++number;
        std::string s = trimBlanks(raw);
        if (s.empty() || s[0] == '#') continue;
        Line line;
        line.number = number;
        size_t pos = 0;
        auto nextWord = [&]() {
            size_t a = s.find_first_not_of(" \t", pos);
            if (a == std::string::npos) {
                pos = s.size();
                return std::string();
            }
            size_t b = s.find_first_of(" \t", a);
            if (b == std::string::npos) b = s.size();
            pos = b;
            return s.substr(a, b - a);
        };
        line.command = nextWord();
        auto it = commands().find(line.command);
        if (it == commands().end()) throw Failure{number, "unknown command '" + line.command + "'"};
        for (int i = 0; i < it->second.words; ++i) {
            std::string w = nextWord();
            if (w.empty()) throw Failure{number, "'" + line.command + "' needs more words"};
            line.args.push_back(w);
        }
        std::string rest = trimBlanks(s.substr(std::min(pos, s.size())));
        if (!it->second.text && !rest.empty())
            throw Failure{number, "'" + line.command + "' takes nothing after '" +
                                      (line.args.empty() ? line.command : line.args.back()) + "'"};
        line.text = unquote(rest);
        lines_.push_back(std::move(line));
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

bool ScriptRunner::tryResolve(const std::string& name, Target& target) const {
    size_t dot = name.find('.');
    if (dot != std::string::npos) {
        ui::Form* form = toolkit_.findForm(name.substr(0, dot));
        if (!form) return false;
        ui::Control* c = form->find(name.substr(dot + 1));
        if (!c) return false;
        target = {form, c};
        return true;
    }
    if (ui::Form* top = toolkit_.topForm())
        if (ui::Control* c = top->find(name)) {
            target = {top, c};
            return true;
        }
    if (ui::Form* form = toolkit_.findForm(name)) {
        target = {form, nullptr};
        return true;
    }
    return false;
}

ScriptRunner::Target ScriptRunner::resolve(const std::string& name) const {
    Target t;
    if (tryResolve(name, t)) return t;
    size_t dot = name.find('.');
    if (dot != std::string::npos) {
        std::string formName = name.substr(0, dot);
        if (!toolkit_.findForm(formName)) fail("no form " + formName + " is loaded");
        fail("no control " + name.substr(dot + 1) + " on " + formName);
    }
    if (!toolkit_.topForm()) fail("no form is open (for " + name + ")");
    fail("no control " + name + " on " + toolkit_.topForm()->name());
}

ui::Control& ScriptRunner::control(const std::string& name) const {
    Target t = resolve(name);
    if (!t.control) fail(name + " is a form, not a control");
    return *t.control;
}

ui::Control& ScriptRunner::reachableControl(const std::string& name) const {
    ui::Control& c = control(name);
    if (!c.reachable()) fail(name + " cannot be reached (disabled or hidden)");
    return c;
}

int ScriptRunner::rowArg(const std::string& text) const {
    int v;
    if (!parseInt(text, v)) fail("'" + text + "' is not a number");
    return v;
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
    const std::string& type = c.typeName();
    auto* text = type == "TextBox" ? static_cast<ui::TextBox*>(&c) : nullptr;
    auto* combo = type == "ComboBox" ? static_cast<ui::ComboBox*>(&c) : nullptr;
    auto* check = type == "CheckBox" ? static_cast<ui::CheckBox*>(&c) : nullptr;
    auto* option = type == "OptionButton" ? static_cast<ui::OptionButton*>(&c) : nullptr;
    auto* date = type == "DTPicker" ? static_cast<ui::DatePicker*>(&c) : nullptr;
    auto* list = type == "ListView" ? static_cast<ui::ListView*>(&c) : nullptr;
    auto* grid = type == "MSHFlexGrid" ? static_cast<ui::FlexGrid*>(&c) : nullptr;

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

void ScriptRunner::dump(const std::string& name) {
    ui::Control& c = control(name);
    std::ostringstream s;
    s << "DUMP " << name << "\n";
    if (c.typeName() == "ListView") {
        auto& list = static_cast<ui::ListView&>(c);
        int cols = std::max(1, list.columnCount());
        s << "0\t[-]";
        for (int col = 0; col < list.columnCount(); ++col) s << "\t" << list.columnHeader(col);
        if (list.columnCount() == 0) s << "\t";
        s << "\n";
        for (int row = 1; row <= list.count(); ++row) {
            s << row << "\t" << (list.checked(row) ? "[x]" : "[ ]");
            for (int col = 0; col < cols; ++col) s << "\t" << list.cell(row, col);
            s << "\n";
        }
    } else if (c.typeName() == "MSHFlexGrid") {
        auto& grid = static_cast<ui::FlexGrid&>(c);
        for (int row = 0; row < grid.rows(); ++row) {
            s << row;
            for (int col = 0; col < grid.cols(); ++col) s << "\t" << grid.textMatrix(row, col);
            s << "\n";
        }
    } else {
        fail(name + " is not a list or a grid");
    }
    flush();
    out_ << s.str();
}

void ScriptRunner::dispatch(const Line& line) {
    const std::string& cmd = line.command;
    const auto& a = line.args;

    if (cmd == "click") {
        ui::Control& c = control(a[0]);
        const std::string& type = c.typeName();
        if (auto* item = dynamic_cast<ui::MenuItem*>(&c)) {
            if (!item->menu().open) fail("menu " + item->menu().name() + " is not open");
            if (!item->visible() || !item->enabled()) fail(a[0] + " is not shown in its menu");
            item->userClick();
            return;
        }
        if (!c.reachable()) fail(a[0] + " cannot be reached (disabled or hidden)");
        if (type == "CommandButton")
            static_cast<ui::CommandButton&>(c).userClick();
        else if (type == "CheckBox")
            static_cast<ui::CheckBox&>(c).userClick();
        else if (type == "OptionButton")
            static_cast<ui::OptionButton&>(c).userSet(true);
        else
            fail(a[0] + " (" + type + ") cannot be clicked");
        return;
    }
    if (cmd == "select") {
        auto* combo = dynamic_cast<ui::ComboBox*>(&reachableControl(a[0]));
        if (!combo) fail(a[0] + " is not a combo box");
        if (combo->locked()) fail(a[0] + " is locked");
        if (!combo->userSelectText(line.text)) fail("no item \"" + line.text + "\" in " + a[0]);
        return;
    }
    if (cmd == "set") {
        ui::Control& c = reachableControl(a[0]);
        if (auto* text = dynamic_cast<ui::TextBox*>(&c)) {
            text->userPaste(line.text);
        } else if (auto* date = dynamic_cast<ui::DatePicker*>(&c)) {
            auto d = common::parseDate(line.text);
            if (!d || !d->valid()) fail("'" + line.text + "' is not a date (dd/MM/yyyy)");
            date->userSet(*d);
        } else if (auto* combo = dynamic_cast<ui::ComboBox*>(&c)) {
            if (combo->style() == ui::ComboBox::Style::DropDownList) {
                if (!combo->userSelectText(line.text)) fail("no item \"" + line.text + "\" in " + a[0]);
            } else if (!combo->locked()) {
                c.form().userEvent([&] {
                    if (!combo->hasFocus()) combo->setFocus();
                    combo->setText(line.text);
                });
            }
        } else {
            fail(a[0] + " (" + c.typeName() + ") cannot be set");
        }
        return;
    }
    if (cmd == "type") {
        ui::Control& c = reachableControl(a[0]);
        if (auto* text = dynamic_cast<ui::TextBox*>(&c)) {
            text->userType(line.text);
        } else if (auto* combo = dynamic_cast<ui::ComboBox*>(&c)) {
            for (char ch : line.text) combo->userKey(static_cast<int16_t>(static_cast<unsigned char>(ch)));
        } else {
            fail(a[0] + " (" + c.typeName() + ") takes no typing");
        }
        return;
    }
    if (cmd == "tick" || cmd == "row" || cmd == "check") {
        ui::Control& c = reachableControl(a[0]);
        int n = rowArg(a[1]);
        if (cmd == "check") {
            if (n != 0 && n != 1) fail("check takes 0 or 1");
            if (auto* box = dynamic_cast<ui::CheckBox*>(&c))
                box->userSet(n);
            else if (auto* opt = dynamic_cast<ui::OptionButton*>(&c))
                opt->userSet(n == 1);
            else
                fail(a[0] + " is not a check box or option button");
            return;
        }
        if (auto* list = dynamic_cast<ui::ListView*>(&c)) {
            if (n < 1 || n > list->count())
                fail("row " + std::to_string(n) + " out of range (" + a[0] + " has " +
                     std::to_string(list->count()) + " rows)");
            if (cmd == "tick") {
                if (!list->checkboxes) fail(a[0] + " has no check boxes");
                list->userToggle(n);
            } else {
                list->userSelectRow(n);
            }
            return;
        }
        if (auto* grid = dynamic_cast<ui::FlexGrid*>(&c); grid && cmd == "row") {
            if (n < grid->fixedRows || n >= grid->rows())
                fail("row " + std::to_string(n) + " out of range (" + a[0] + " has data rows " +
                     std::to_string(grid->fixedRows) + " to " + std::to_string(grid->rows() - 1) + ")");
            grid->userSelectCell(n, grid->col());
            return;
        }
        fail(a[0] + " is not a list" + std::string(cmd == "row" ? " or grid" : ""));
    }
    if (cmd == "key") {
        int code = rowArg(a[1]);
        if (code < 0 || code > 255) fail("key code out of range");
        auto k = static_cast<int16_t>(code);
        Target t = resolve(a[0]);
        if (!t.control) {
            t.form->userKeyPress(k);
            return;
        }
        ui::Control& c = reachableControl(a[0]);
        if (auto* text = dynamic_cast<ui::TextBox*>(&c)) {
            if (isNavigationKey(code))
                text->userKeyDown(k);
            else
                text->userKey(k);
        } else if (auto* combo = dynamic_cast<ui::ComboBox*>(&c)) {
            combo->userKey(k);
        } else if (auto* box = dynamic_cast<ui::CheckBox*>(&c)) {
            box->userKey(k);
        } else if (auto* opt = dynamic_cast<ui::OptionButton*>(&c)) {
            opt->userKey(k);
        } else if (auto* date = dynamic_cast<ui::DatePicker*>(&c)) {
            date->userKeyDown(k);
        } else if (auto* list = dynamic_cast<ui::ListView*>(&c)) {
            list->userKeyDown(k);
        } else if (auto* grid = dynamic_cast<ui::FlexGrid*>(&c)) {
            grid->userKeyDown(k);
        } else if (auto* button = dynamic_cast<ui::CommandButton*>(&c)) {
            if (code == ui::vbKeyReturn || code == 32) button->userClick();
        } else {
            fail(a[0] + " (" + c.typeName() + ") takes no keys");
        }
        return;
    }
    if (cmd == "popup" || cmd == "dblclick") {
        ui::Control& c = reachableControl(a[0]);
        if (auto* list = dynamic_cast<ui::ListView*>(&c)) {
            if (cmd == "popup")
                list->userRightClick();
            else
                list->userDblClick();
        } else if (auto* grid = dynamic_cast<ui::FlexGrid*>(&c); grid && cmd == "dblclick") {
            grid->userDblClick();
        } else {
            fail(a[0] + " (" + c.typeName() + ") takes no " + cmd);
        }
        return;
    }
    if (cmd == "answer") {
        std::string w = common::LCase(a[0]);
        int answer = w == "yes"      ? ui::vbYes
                     : w == "no"     ? ui::vbNo
                     : w == "ok"     ? ui::vbOK
                     : w == "cancel" ? ui::vbCancel
                                     : 0;
        if (!answer) fail("answer takes Yes, No, OK or Cancel");
        toolkit_.answers.push_back(answer);
        return;
    }
    if (cmd == "close") {
        ui::Form* top = toolkit_.topForm();
        if (!top) fail("no form is open");
        top->userClose();
        return;
    }
    if (cmd == "expect") {
        std::string name = a[0], prop = "text";
        Target t;
        size_t dot = name.rfind('.');
        if (dot != std::string::npos && propertyNames().count(common::LCase(name.substr(dot + 1))) &&
            tryResolve(name.substr(0, dot), t)) {
            prop = common::LCase(name.substr(dot + 1));
            name = name.substr(0, dot);
        } else {
            t = resolve(name);
        }
        expectEqual("expect " + a[0], line.text, property(t, prop, name));
        return;
    }
    if (cmd == "expect-cell" || cmd == "expect-checked" || cmd == "expect-header") {
        ui::Control& c = control(a[0]);
        auto* list = dynamic_cast<ui::ListView*>(&c);
        auto* grid = dynamic_cast<ui::FlexGrid*>(&c);
        if (!list && !grid) fail(a[0] + " is not a list or a grid");
        if (cmd == "expect-header") {
            int col = rowArg(a[1]);
            int cols = list ? list->columnCount() : grid->cols();
            if (col < 0 || col >= cols) fail("column " + std::to_string(col) + " out of range");
            expectEqual("expect-header " + a[0] + " " + a[1], line.text,
                        list ? list->columnHeader(col) : grid->textMatrix(0, col));
            return;
        }
        int row = rowArg(a[1]);
        if (cmd == "expect-checked") {
            if (!list) fail(a[0] + " is not a list");
            int want = rowArg(a[2]);
            if (row < 1 || row > list->count()) fail("row " + std::to_string(row) + " out of range");
            expectEqual("expect-checked " + a[0] + " " + a[1], std::to_string(want),
                        list->checked(row) ? "1" : "0");
            return;
        }
        int col = rowArg(a[2]);
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
        expectEqual("expect-cell " + a[0] + " " + a[1] + " " + a[2], line.text, actual);
        return;
    }
    if (cmd == "expect-message") {
        const ui::MessageBoxRequest* m = toolkit_.lastMessage();
        if (!m) fail("no message box was shown");
        expectEqual("expect-message", line.text, m->text);
        return;
    }
    if (cmd == "expect-sql") {
        if (!trace_) fail("no statement trace for expect-sql");
        const auto& entries = trace_->entries();
        size_t from = std::min(sqlMark_, entries.size());
        sqlMark_ = entries.size();
        for (size_t i = from; i < entries.size(); ++i) {
            auto kind = entries[i].kind;
            bool statement = kind == data::TraceEntry::Kind::Execute ||
                             kind == data::TraceEntry::Kind::Open || kind == data::TraceEntry::Kind::Command;
            if (statement && entries[i].text.find(line.text) != std::string::npos) return;
        }
        fail("no statement since the last expect-sql contains \"" + line.text + "\"");
    }
    if (cmd == "dump") {
        dump(a[0]);
        return;
    }
    fail("unknown command '" + cmd + "'");
}

}  // namespace script

#include "ui/UserActions.h"

#include <charconv>

#include "common/Conv.h"
#include "ui/ControlKinds.h"
#include "ui/Toolkit.h"

namespace ui {

namespace {

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

[[noreturn]] void fail(const std::string& message) { throw ActionFailed{message}; }

}  // namespace

std::string quoteLine(const std::string& text) {
    constexpr size_t kMost = 80;
    if (text.size() <= kMost) return text;
    size_t cut = kMost;
    // Not in the middle of a UTF-8 character.
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
    return text.substr(0, cut) + "...";
}

ScriptLine parseScriptLine(const std::string& raw, const ScriptSyntaxTable& syntax) {
    const std::string s = trimBlanks(raw);
    ScriptLine line;
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
    auto it = syntax.find(line.command);
    if (it == syntax.end()) fail("unknown command '" + quoteLine(line.command) + "'");
    for (int i = 0; i < it->second.words; ++i) {
        std::string w = nextWord();
        if (w.empty()) fail("'" + line.command + "' needs more words");
        line.args.push_back(w);
    }
    std::string rest = trimBlanks(s.substr(std::min(pos, s.size())));
    if (!it->second.text && !rest.empty())
        fail("'" + line.command + "' takes nothing after '" +
             quoteLine(line.args.empty() ? line.command : line.args.back()) + "'");
    line.text = unquote(rest);
    return line;
}

const ScriptSyntaxTable& UserActions::syntax() {
    static const ScriptSyntaxTable table{
        {"click", {1, false}}, {"select", {1, true}},    {"set", {1, true}},     {"type", {1, true}},
        {"tick", {2, false}},  {"check", {2, false}},    {"row", {2, false}},    {"key", {2, false}},
        {"popup", {1, false}}, {"dblclick", {1, false}}, {"answer", {1, false}}, {"close", {0, false}},
    };
    return table;
}

const std::map<std::string, UserActions::Command>& UserActions::commands() {
    static const std::map<std::string, Command> table{
        {"click", &UserActions::click},   {"select", &UserActions::select},
        {"set", &UserActions::set},       {"type", &UserActions::type},
        {"tick", &UserActions::tick},     {"check", &UserActions::check},
        {"row", &UserActions::row},       {"key", &UserActions::key},
        {"popup", &UserActions::popup},   {"dblclick", &UserActions::dblclick},
        {"answer", &UserActions::answer}, {"close", &UserActions::close},
    };
    return table;
}

void UserActions::run(const ScriptLine& line) {
    auto it = commands().find(line.command);
    if (it == commands().end()) fail("unknown command '" + quoteLine(line.command) + "'");
    (this->*(it->second))(line);
}

bool UserActions::tryResolve(const std::string& name, Target& target) const {
    size_t dot = name.find('.');
    if (dot != std::string::npos) {
        Form* form = host_.findForm(name.substr(0, dot));
        if (!form) return false;
        Control* c = form->find(name.substr(dot + 1));
        if (!c) return false;
        target = {form, c};
        return true;
    }
    if (Form* top = host_.topForm())
        if (Control* c = top->find(name)) {
            target = {top, c};
            return true;
        }
    if (Form* form = host_.findForm(name)) {
        target = {form, nullptr};
        return true;
    }
    return false;
}

UserActions::Target UserActions::resolve(const std::string& name) const {
    Target t;
    if (tryResolve(name, t)) return t;
    size_t dot = name.find('.');
    if (dot != std::string::npos) {
        std::string formName = name.substr(0, dot);
        if (!host_.findForm(formName)) fail("no form " + formName + " is loaded");
        fail("no control " + name.substr(dot + 1) + " on " + formName);
    }
    if (!host_.topForm()) fail("no form is open (for " + name + ")");
    fail("no control " + name + " on " + host_.topForm()->name());
}

Control& UserActions::control(const std::string& name) const {
    Target t = resolve(name);
    if (!t.control) fail(name + " is a form, not a control");
    return *t.control;
}

Control& UserActions::reachableControl(const std::string& name) const {
    Control& c = control(name);
    if (!c.reachable()) fail(c.unreachableReason());
    return c;
}

int UserActions::number(const std::string& text) {
    int v = 0;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || p != text.data() + text.size())
        fail("'" + quoteLine(text) + "' is not a number");
    return v;
}

void UserActions::click(const ScriptLine& line) {
    const std::string& name = line.args[0];
    Control& c = control(name);
    const KindTraits& traits = traitsOf(c.kind());
    // A menu item is reached through its open menu, which its own action checks.
    if (!traits.poppedUp && !c.reachable()) fail(c.unreachableReason());
    act(traits.click, c, line, 0, "cannot be clicked");
}

void UserActions::select(const ScriptLine& line) {
    const std::string& name = line.args[0];
    auto* combo = dynamic_cast<ComboBox*>(&reachableControl(name));
    if (!combo) fail(name + " is not a combo box");
    if (combo->locked()) fail(name + " is locked");
    if (!combo->userSelectText(line.text)) fail("no item \"" + quoteLine(line.text) + "\" in " + name);
}

void UserActions::set(const ScriptLine& line) {
    Control& c = reachableControl(line.args[0]);
    act(traitsOf(c.kind()).set, c, line, 0, "cannot be set");
}

void UserActions::type(const ScriptLine& line) {
    Control& c = reachableControl(line.args[0]);
    act(traitsOf(c.kind()).type, c, line, 0, "takes no typing");
}

ListView& UserActions::listRow(const ScriptLine& line, int& row) const {
    const std::string& name = line.args[0];
    Control& c = reachableControl(name);
    row = number(line.args[1]);
    auto* list = dynamic_cast<ListView*>(&c);
    if (!list) fail(name + " is not a list");
    if (row < 1 || row > list->count())
        fail("row " + std::to_string(row) + " out of range (" + name + " has " +
             std::to_string(list->count()) + " rows)");
    return *list;
}

void UserActions::tick(const ScriptLine& line) {
    int n = 0;
    ListView& list = listRow(line, n);
    if (!list.checkboxes) fail(line.args[0] + " has no check boxes");
    list.userToggle(n);
}

void UserActions::row(const ScriptLine& line) {
    const std::string& name = line.args[0];
    Control& c = reachableControl(name);
    int n = number(line.args[1]);
    if (auto* grid = dynamic_cast<FlexGrid*>(&c)) {
        if (n < grid->fixedRows || n >= grid->rows())
            fail("row " + std::to_string(n) + " out of range (" + name + " has data rows " +
                 std::to_string(grid->fixedRows) + " to " + std::to_string(grid->rows() - 1) + ")");
        grid->userSelectCell(n, grid->col());
        return;
    }
    if (!dynamic_cast<ListView*>(&c)) fail(name + " is not a list or grid");
    listRow(line, n).userSelectRow(n);
}

void UserActions::check(const ScriptLine& line) {
    const std::string& name = line.args[0];
    Control& c = reachableControl(name);
    int n = number(line.args[1]);
    if (n != 0 && n != 1) fail("check takes 0 or 1");
    const Action check = traitsOf(c.kind()).check;
    if (!check) fail(name + " is not a check box or option button");
    check(c, ActionInput{name, line.text, n, host_});
}

void UserActions::key(const ScriptLine& line) {
    const std::string& name = line.args[0];
    int code = number(line.args[1]);
    if (code < 0 || code > 255) fail("key code out of range");
    Target t = resolve(name);
    if (!t.control) {
        auto k = static_cast<int16_t>(code);
        t.form->userKeyPress(k);
        return;
    }
    Control& c = reachableControl(name);
    act(traitsOf(c.kind()).key, c, line, code, "takes no keys");
}

void UserActions::popup(const ScriptLine& line) {
    Control& c = reachableControl(line.args[0]);
    act(traitsOf(c.kind()).popup, c, line, 0, "takes no popup");
}

void UserActions::dblclick(const ScriptLine& line) {
    Control& c = reachableControl(line.args[0]);
    act(traitsOf(c.kind()).dblclick, c, line, 0, "takes no dblclick");
}

void UserActions::act(Action action, Control& c, const ScriptLine& line, int number, const char* notTaken) {
    const std::string& name = line.args[0];
    if (!action) fail(name + " (" + c.typeName() + ") " + notTaken);
    action(c, ActionInput{name, line.text, number, host_});
}

void UserActions::answer(const ScriptLine& line) {
    std::string w = common::LCase(line.args[0]);
    int answer = w == "yes" ? vbYes : w == "no" ? vbNo : w == "ok" ? vbOK : w == "cancel" ? vbCancel : 0;
    if (!answer) fail("answer takes Yes, No, OK or Cancel");
    host_.queueAnswer(answer);
}

void UserActions::close(const ScriptLine&) {
    Form* top = host_.topForm();
    if (!top) fail("no form is open");
    top->userClose();
}

}  // namespace ui

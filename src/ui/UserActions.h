#pragma once
// The user's half of the script language: what a person does to the screens (click, select,
// set, type, tick, check, row, key, popup, dblclick, answer, close). The script runner and
// the Qt screenshot walk both run their lines through it, so an action that a person could
// not do (a disabled button, a row out of range, a date in another form) fails the same way
// wherever the script runs.
#include <map>
#include <string>
#include <vector>

#include "ui/Controls.h"
#include "ui/Form.h"

namespace ui {

struct ActionInput;

// An action that cannot be done. Not a std::exception, so that no screen handler on the way
// out catches it.
struct ActionFailed {
    std::string message;
};

// One line of a script: the command, the words it takes, and the rest of the line.
struct ScriptLine {
    int number = 0;
    std::string command;
    std::vector<std::string> args;  // the words before the text
    std::string text;               // the rest of the line, quotes removed
};

// How many words come before the text, and whether a text is taken.
struct ScriptSyntax {
    int words;
    bool text;
};
using ScriptSyntaxTable = std::map<std::string, ScriptSyntax>;

// Splits a line (not blank, not a comment) by the table; ActionFailed for an unknown command
// or missing or extra words.
ScriptLine parseScriptLine(const std::string& line, const ScriptSyntaxTable& syntax);
// The text of a script line in a message: at most its first 80 characters.
std::string quoteLine(const std::string& text);

class UserActions {
public:
    // What a front end supplies: its forms, and the answer queue of its message boxes.
    class Host {
    public:
        virtual ~Host() = default;
        virtual Form* topForm() const = 0;
        // The loaded form of that name, innermost first; nullptr if none.
        virtual Form* findForm(const std::string& name) const = 0;
        // The answer for the next message box that needs one (vbYes, vbNo, vbOK, vbCancel).
        virtual void queueAnswer(int answer) = 0;
        // A button pressed by the user; a front end with widgets presses the widget.
        virtual void press(CommandButton& button) { button.userClick(); }
    };

    struct Target {
        Form* form = nullptr;
        Control* control = nullptr;  // nullptr: the form itself
    };

    explicit UserActions(Host& host) : host_(host) {}

    static const ScriptSyntaxTable& syntax();
    static bool isAction(const std::string& command) { return syntax().count(command) > 0; }

    // Runs one action line; ActionFailed when it cannot be done.
    void run(const ScriptLine& line);

    // NAME is a control of the top form, Form.control, or a form's own name.
    bool tryResolve(const std::string& name, Target& target) const;
    Target resolve(const std::string& name) const;
    Control& control(const std::string& name) const;
    Control& reachableControl(const std::string& name) const;
    static int number(const std::string& text);

private:
    using Command = void (UserActions::*)(const ScriptLine&);
    static const std::map<std::string, Command>& commands();

    void click(const ScriptLine& line);
    void select(const ScriptLine& line);
    void set(const ScriptLine& line);
    void type(const ScriptLine& line);
    void tick(const ScriptLine& line);
    void check(const ScriptLine& line);
    void row(const ScriptLine& line);
    void key(const ScriptLine& line);
    void popup(const ScriptLine& line);
    void dblclick(const ScriptLine& line);
    void answer(const ScriptLine& line);
    void close(const ScriptLine& line);
    ListView& listRow(const ScriptLine& line, int& row) const;
    // Runs a kind's action, or fails with "NAME (TYPE) <notTaken>" where the kind has none.
    void act(void (*action)(Control&, const ActionInput&), Control& c, const ScriptLine& line, int number,
             const char* notTaken);

    Host& host_;
};

}  // namespace ui

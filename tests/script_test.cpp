// The script runner on two small forms of the tests' own: commands, nesting of modal forms,
// the transcript and a script's end at an error no handler caught.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "TestSupport.h"
#include "common/Error.h"
#include "script/ScriptRunner.h"
#include "ui/Form.h"
#include "ui/Headless.h"

namespace {

using namespace ui;

class ChildForm : public Form {
public:
    explicit ChildForm(Toolkit& tk) : Form(tk, "frmChild", "Child form") {
        cmdDone.Click = [this] { unload(); };
    }
    TextBox& txtNote = add<TextBox>("txtNote");
    CommandButton& cmdDone = add<CommandButton>("cmdDone", "&Done");
};

class MainForm : public Form {
public:
    MainForm(Toolkit& tk, ChildForm& child) : Form(tk, "frmMain", "Main form") {
        cboType.addItem("Payroll");
        cboType.addItem("Savings");
        cmdDisabled.setEnabled(false);
        cmdOpen.Click = [this, &child] {
            toolkit().showModal(child);
            afterChild = true;  // runs only once the child has gone
            txtName.setText(child.txtNote.text());
        };
        cmdAsk.Click = [this] {
            int a = toolkit().msgBox({"Continue?", vbYesNo + vbQuestion, "Test"});
            txtName.setText(a == vbYes ? "yes" : "no");
        };
        cmdFail.Click = [] { throw common::Error(5, "frmMain", "Invalid procedure call or argument"); };
        cboNote.Change = [this] { noteChanges += cboNote.text() + "|"; };
    }
    TextBox& txtName = add<TextBox>("txtName");
    ComboBox& cboType = add<ComboBox>("cboType", nullptr, ComboBox::Style::DropDownList);
    ComboBox& cboNote = add<ComboBox>("cboNote");
    CheckBox& chkFlag = add<CheckBox>("chkFlag", "Flag");
    CommandButton& cmdOpen = add<CommandButton>("cmdOpen", "&Open");
    CommandButton& cmdAsk = add<CommandButton>("cmdAsk", "&Ask");
    CommandButton& cmdFail = add<CommandButton>("cmdFail", "&Fail");
    CommandButton& cmdDisabled = add<CommandButton>("cmdDisabled", "&Never");
    bool afterChild = false;
    bool unloadRan = false;
    std::string noteChanges;
    void Form_Unload(int&) override { unloadRan = true; }
};

struct Outcome {
    int status;
    std::string out;
    bool afterChild, unloadRan;
    std::string name, noteChanges;
};

// Runs a script on a fresh main form, as the host shows it.
Outcome run(const std::string& script) {
    HeadlessToolkit tk;
    ChildForm child(tk);
    MainForm main(tk, child);
    tk.formLoaded(main);
    tk.formLoaded(child);
    std::istringstream in(script);
    std::ostringstream out;
    script::ScriptRunner runner(tk, out);
    const int status = runner.run(in, [&] { tk.showModal(main); });
    return {status, out.str(), main.afterChild, main.unloadRan, main.txtName.text(), main.noteChanges};
}

TEST(ScriptTest, ModalFormsTakeTheLinesUntilTheyUnload) {
    Outcome r = run(R"(# a comment, then a blank line

expect frmMain "Main form"
set txtName Alice
expect txtName Alice
select cboType Savings
expect cboType.listindex 1
type cboNote Zoë😀
check chkFlag 1
click cmdOpen
expect frmMain.txtName Alice
type txtNote   hello there
click cmdDone
expect txtName "hello there"
answer Yes
click cmdAsk
expect-message Continue?
expect txtName yes
click cmdFail
expect chkFlag.value 1
expect cmdDisabled.enabled false
close
)");
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_EQ(r.out,
              "SHOW frmMain: Main form\n"
              "SHOW frmChild: Child form\n"
              "UNLOAD frmChild\n"
              "MSGBOX \"Test\" \"Continue?\" [Yes/No] -> Yes\n"
              "ERROR 5: Invalid procedure call or argument\n"
              "UNLOAD frmMain\n"
              "FAIL line 19: the command raised an error that no handler caught\n");
    EXPECT_TRUE(r.afterChild);
    EXPECT_TRUE(r.unloadRan);
    // An editable combo takes typed text a whole character at a time.
    EXPECT_EQ(r.noteChanges, "Z|Zo|Zoë|Zoë😀|");
}

}  // namespace

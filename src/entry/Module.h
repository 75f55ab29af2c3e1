#pragma once
// One loaded component: the session context, the module-wide values and the single
// instance of each screen. Screens reach the session, those values and each other only
// through it.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "entry/Session.h"
#include "ui/Form.h"
#include "ui/Toolkit.h"

namespace browser {
class FrmMaster;
}
namespace linking {
class frmPayrollAccountsLinking;
class frmcancell;
}  // namespace linking
namespace journal {
class frmJournalDetails;
}

namespace entry {

class Module {
public:
    explicit Module(ui::Toolkit& toolkit);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    ui::Toolkit& toolkit() const { return toolkit_; }
    SessionContext session;

    // Module-wide values.
    std::string EntryMode;  // "N" new, "E" edit
    bool AddMode = false;   // the journal line editor adds a line
    int16_t DepartmentCurrencyID = 0;
    int16_t CompanyCurrencyID = 0;
    bool TransactionOpen = false;  // the save's transaction is open

    // The session connection, auto-created (unopened) when empty.
    data::Connection& connection();
    // Inside a save's or a cancellation's transaction: no other copy writes the company's
    // entries until it ends, whatever plan the server picks for the guards' reads.
    void LockCompanyEntries();

    // The single screen instances, created and loaded on first use.
    browser::FrmMaster& FrmMaster();
    linking::frmPayrollAccountsLinking& frmPayrollAccountsLinking();
    linking::frmcancell& frmcancell();
    journal::frmJournalDetails& frmJournalDetails();
    bool isLoaded(const std::string& formName) const;
    ui::Form* loadedForm(const std::string& formName) const;
    std::vector<ui::Form*> loadedForms() const;

    // Shows a form modally through the toolkit; returns when it is unloaded.
    void showModal(ui::Form& form);
    // Runs once, on the next form shown modally, after it is loaded and before it is shown: a
    // user's first steps on a screen that a button opens (the month status fills in New).
    void beforeNextShow(std::function<void(ui::Form&)> steps) { beforeNextShow_ = std::move(steps); }

    // Destroys the forms unloaded so far. Front ends call it when no event is running, since
    // a handler of an unloaded form may still be on the stack until then.
    void collect();

    // MsgBox titled with the session title.
    int MsgBox(const std::string& text, int style);
    // The error log: writes the line, then shows the description (exclamation, OK) when
    // showMessage and the number is not 0. Failures of the log itself raise.
    void LogError(const std::string& screen, int32_t userId, const std::string& procedure, int32_t number,
                  const std::string& source, const std::string& description, const std::string& entryMode,
                  bool showMessage);
    // Convenience for handlers: logs a caught error with the session user and entry mode.
    void LogError(const std::string& screen, const std::string& procedure, const common::Error& e);

    // The help file under the component's folder.
    std::string helpFile() const;

private:
    std::function<void(ui::Form&)> beforeNextShow_;
    template <class T>
    T& instance(std::unique_ptr<T>& slot);
    bool unloadForm(ui::Form& form, int unloadMode);

    ui::Toolkit& toolkit_;
    std::unique_ptr<browser::FrmMaster> master_;
    std::unique_ptr<linking::frmPayrollAccountsLinking> linking_;
    std::unique_ptr<linking::frmcancell> cancel_;
    std::unique_ptr<journal::frmJournalDetails> journal_;
    // Unloaded forms live on until no handler of theirs can still be running.
    std::vector<std::unique_ptr<ui::Form>> unloaded_;
};

}  // namespace entry

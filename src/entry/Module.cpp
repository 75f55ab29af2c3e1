#include "entry/Module.h"

#include <utility>

#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "data/ErrorLog.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmcancell.h"

namespace entry {

Module::Module(ui::Toolkit& toolkit) : toolkit_(toolkit) {}

Module::~Module() {
    // Children before parents, so no screen outlives one it may still point at.
    journal_.reset();
    cancel_.reset();
    linking_.reset();
    master_.reset();
    unloaded_.clear();
}

data::Connection& Module::connection() {
    if (!session.connection) session.connection = data::makeUnopenedConnection();
    return *session.connection;
}

void Module::LockCompanyEntries() {
    connection().lockForTransaction("payacclink entries of company " + std::to_string(session.companyId));
}

template <class T>
T& Module::instance(std::unique_ptr<T>& slot) {
    if (!slot) {
        // The slot is filled before the load runs, so that the load (and anything it calls)
        // finds this instance instead of creating a second one.
        slot = std::make_unique<T>(*this);
        T& form = *slot;
        form.unloader = [this](ui::Form& f, int mode) { return unloadForm(f, mode); };
        form.loaded = true;
        form.messageTitle = session.msgTitle;
        // A free-text box is as long as its column, which SQL Server counts in UTF-16 units.
        if (session.connection && session.connection->dialect().countsUtf16())
            for (ui::Control* c : form.controls())
                if (auto* box = dynamic_cast<ui::TextBox*>(c)) box->maxLengthInUtf16 = true;
        toolkit_.formLoaded(form);
        try {
            form.Form_Load();
        } catch (...) {
            // A load that failed half way (no settings row, say) must not leave a half-built
            // screen behind: the next use would skip the load, and with it the rights check.
            if (slot.get() == &form) {
                unloaded_.push_back(std::move(slot));
                form.loaded = false;
                toolkit_.formUnloaded(form);
            }
            throw;
        }
    }
    return *slot;
}

browser::FrmMaster& Module::FrmMaster() { return instance(master_); }
linking::frmPayrollAccountsLinking& Module::frmPayrollAccountsLinking() { return instance(linking_); }
linking::frmcancell& Module::frmcancell() { return instance(cancel_); }
journal::frmJournalDetails& Module::frmJournalDetails() { return instance(journal_); }

std::vector<ui::Form*> Module::loadedForms() const {
    std::vector<ui::Form*> forms;
    if (master_) forms.push_back(master_.get());
    if (linking_) forms.push_back(linking_.get());
    if (cancel_) forms.push_back(cancel_.get());
    if (journal_) forms.push_back(journal_.get());
    return forms;
}

ui::Form* Module::loadedForm(const std::string& formName) const {
    for (ui::Form* f : loadedForms())
        if (common::EqualsNoCase(f->name(), formName)) return f;
    return nullptr;
}

bool Module::isLoaded(const std::string& formName) const { return loadedForm(formName) != nullptr; }

bool Module::unloadForm(ui::Form& form, int unloadMode) {
    (void)unloadMode;
    // The form leaves its slot (the next use loads a fresh one) but lives on until collect():
    // the handler that unloaded it is usually still running.
    auto park = [&](auto& slot) {
        if (slot.get() != &form) return false;
        unloaded_.push_back(std::move(slot));
        return true;
    };
    bool found = park(master_) || park(linking_) || park(cancel_) || park(journal_);
    form.loaded = false;
    return found;
}

void Module::collect() { unloaded_.clear(); }

void Module::showModal(ui::Form& form) {
    auto steps = std::exchange(beforeNextShow_, nullptr);
    // A screen that unloaded itself while loading (or was unloaded since) is not shown.
    if (!form.loaded) return;
    if (steps) steps(form);
    if (!form.loaded) return;
    form.shownModal = true;
    toolkit_.showModal(form);
}

int Module::MsgBox(const std::string& text, int style) {
    ui::MessageBoxRequest request;
    request.text = text;
    request.style = style;
    request.title = session.msgTitle;
    return toolkit_.msgBox(request);
}

void Module::LogError(const std::string& screen, int32_t userId, const std::string& procedure, int32_t number,
                      const std::string& source, const std::string& description, const std::string& entryMode,
                      bool showMessage) {
    data::LogEntry entry;
    entry.screen = screen;
    entry.userId = userId;
    entry.procedure = procedure;
    entry.number = number;
    entry.source = source;
    entry.description = description;
    entry.entryMode = entryMode;
    bool due = data::writeErrorLog(connection(), session.tables, entry);
    if (due && showMessage) MsgBox(description, ui::vbOKOnly + ui::vbExclamation);
}

void Module::LogError(const std::string& screen, const std::string& procedure, const common::Error& e) {
    LogError(screen, session.userId, procedure, e.number(), e.source(), e.description(), EntryMode, true);
}

std::string Module::helpFile() const { return data::componentFolder() + "/Help/helpfile.hlp"; }

}  // namespace entry

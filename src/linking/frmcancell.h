#pragma once
// Cancelling an entry with a reason; releases its sources.
#include <memory>
#include <string>

#include "entry/Module.h"
#include "suite/CommonModule.h"
#include "ui/Form.h"

namespace linking {

class frmcancell : public ui::Form {
public:
    explicit frmcancell(entry::Module& module);
    ~frmcancell() override;

    ui::Frame& Frame1;
    ui::Label& lblreason;
    ui::TextBox& txtreason;
    ui::CommandButton& cmdok;
    // Leaves the screen with the entry as it was (the classic screen had no way back).
    ui::CommandButton& cmdKeep;

    void Form_Load() override;
    void Cmdok_Click();
    void cmdKeep_Click();
    void txtreason_KeyPress(int16_t& keyAscii);
    void ReleaseSourceTransactions(const std::string& typeName, int32_t transId);

    // The help file that F1 opens on this screen.
    const std::string& helpFile() const { return helpFile_; }

private:
    // Inside the cancellation's transaction: whether the entry was cancelled or posted since
    // the browser listed it; if so its browser row is brought up to date.
    bool EntryClosedMeanwhile(int row, int32_t transId);

    entry::Module& module_;
    std::unique_ptr<suite::ClsCommonDb> db_;
    std::string helpFile_;
};

}  // namespace linking

#pragma once
// The browser of saved link entries: list, search and sort, and the actions by rights.
#include <memory>
#include <string>
#include <vector>

#include "entry/Module.h"
#include "suite/CommonModule.h"
#include "ui/Form.h"

namespace browser {

class FrmMaster : public ui::Form {
public:
    explicit FrmMaster(entry::Module& module);
    ~FrmMaster() override;

    // Controls, in layout (tab) order.
    ui::FlexGrid& flexMaster;
    ui::Frame& fraBrowse;
    ui::Label& lblsearch;
    ui::ComboBox& cboColNames;
    ui::TextBox& txtsearch;
    ui::ComboBox& cboSearch;
    ui::OptionButton& optAscend;
    ui::OptionButton& optDescend;
    ui::CommandButton& cmdnew;
    ui::CommandButton& CmdEdit;
    ui::CommandButton& CmdDelete;
    ui::CommandButton& cmdPrint;
    ui::CommandButton& CmdClose;

    void Form_Load() override;
    void Form_Unload(int& cancel) override;
    void Form_KeyPress(int16_t& keyAscii) override;

    void GridPopulate(const std::string& sql);
    // Lists the entries of the last days the settings name (all when none), as at load.
    void PopulateRecentEntries();
    void GridColor();
    void SecurityCheck(int32_t& interfaceId);
    void cmdnew_Click();
    void CmdEdit_Click();
    void CmdDelete_Click();
    void cmdPrint_Click();
    void CmdClose_Click();
    void cboColNames_Click();
    void optAscend_Click();
    void optDescend_Click();
    void txtsearch_KeyUp(int16_t& keyCode, int16_t shift);
    void flexMaster_RowColChange();

    // The entry loading for editing (fills the linking screen).
    void EditClick(int32_t& transId);
    void LoadEntryTransactions(int32_t& transId);
    void LoadEntryPostingDetails(int32_t& transId);

    const std::string& rights() const { return rights_; }
    // The row the last search landed on: 0 when it found nothing, -1 when the last key in the
    // search box searched nothing (no column chosen, or no text).
    int lastSearchMatch() const { return lastSearchMatch_; }
    entry::Module& module() const { return module_; }
    // The help file that F1 opens on this screen.
    const std::string& helpFile() const { return helpFile_; }

private:
    void SearchGrid();
    void FillColumnHeaders(const std::string& tableName);

    entry::Module& module_;
    std::unique_ptr<suite::clsCommonGen> gen_;
    std::unique_ptr<suite::ClsCommonDb> db_;
    std::string rights_;
    std::string helpFile_;
    int16_t previousDays_ = 0;  // the settings' list window, read at load
    int lastSearchMatch_ = -1;
    std::vector<size_t> widths_;  // longest text per column while the grid fills
};

// True when the entry of the browser's current row is posted.
bool IsEntryPosted(entry::Module& module);

}  // namespace browser

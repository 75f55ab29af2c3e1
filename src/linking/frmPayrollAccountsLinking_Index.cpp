#include "linking/frmPayrollAccountsLinking_Index.h"

#include <algorithm>

#include "common/Conv.h"
#include "common/Error.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "ui/Helpers.h"

namespace linking {

int32_t WholeNumber(const std::string& text) { return common::CLng(common::Val(text)); }

double PostingBalance(entry::Module& module, const ui::ListView& postingDetails) {
    try {
        return ui::BalanceAmount(postingDetails, pst::DeptAmount);
    } catch (const common::Error& e) {
        // Logged under the line editor's name whichever screen asks: kept as the system writes it.
        module.LogError("frmJournalDetails  ", "BalanceAmount ", e);
        return 0;
    }
}

ListIndex::ListIndex(ui::ListView& list, std::vector<int> keyColumns)
    : list_(list), keyColumns_(std::move(keyColumns)) {
    listener_ =
        list_.addListener([this](ui::Control&, ui::Change c, int row, int col) { changed(c, row, col); });
}

ListIndex::~ListIndex() { list_.removeListener(listener_); }

void ListIndex::ensure() {
    if (stale_) {
        rebuild();
        stale_ = false;
    }
}

void ListIndex::changed(ui::Change change, int row, int col) {
    switch (change) {
        case ui::Change::Rows:
            if (quiet_ == 0) stale_ = true;
            break;
        case ui::Change::Cell:
            if (quiet_ == 0 && std::find(keyColumns_.begin(), keyColumns_.end(), col) != keyColumns_.end())
                stale_ = true;
            break;
        case ui::Change::Check:
            if (!stale_) tickChanged(row);
            break;
        default:
            break;
    }
}

// --- lvwTransactions ---

TransactionIndex::TransactionIndex(ui::ListView& list) : ListIndex(list, {}) {}

void TransactionIndex::rebuild() {
    rows_.clear();
    for (int r = 1; r <= list_.count(); ++r) rows_.emplace(WholeNumber(list_.cell(r, trn::TransID)), r);
}

int TransactionIndex::find(int32_t transId) {
    ensure();
    auto it = rows_.find(transId);
    return it == rows_.end() ? 0 : it->second;
}

int TransactionIndex::append(int32_t transId) {
    ensure();
    Quiet q(*this);
    int row = list_.add(std::to_string(list_.count() + 1));
    rows_.emplace(transId, row);
    return row;
}

// --- lvwTransactionDetails ---

DetailIndex::DetailIndex(ui::ListView& list) : ListIndex(list, {}) {}

void DetailIndex::rebuild() {
    rows_.clear();
    int n = list_.count();
    ticks_.assign(static_cast<size_t>(n) + 1, 0);
    ticked_ = 0;
    for (int r = 1; r <= n; ++r) {
        rows_[WholeNumber(list_.cell(r, det::TransID))].push_back(r);
        if (list_.checked(r)) {
            ticks_[r] = 1;
            ++ticked_;
        }
    }
}

void DetailIndex::tickChanged(int row) {
    if (row < 1 || row >= static_cast<int>(ticks_.size())) {
        stale_ = true;
        return;
    }
    char now = list_.checked(row) ? 1 : 0;
    if (now != ticks_[row]) {
        ticked_ += now ? 1 : -1;
        ticks_[row] = now;
    }
}

const std::vector<int>& DetailIndex::rowsOf(int32_t transId) {
    static const std::vector<int> none;
    ensure();
    auto it = rows_.find(transId);
    return it == rows_.end() ? none : it->second;
}

bool DetailIndex::allTicked() {
    ensure();
    return ticked_ == list_.count();
}

int DetailIndex::append(int32_t transId) {
    ensure();
    Quiet q(*this);
    int row = list_.add(std::to_string(list_.count() + 1));
    rows_[transId].push_back(row);
    ticks_.resize(static_cast<size_t>(row) + 1, 0);
    if (list_.checked(row)) {
        ticks_[row] = 1;
        ++ticked_;
    }
    return row;
}

// --- lvwPostingDetails ---

PostingIndex::PostingIndex(ui::ListView& list) : ListIndex(list, {pst::DebitAccountID, pst::ResCurrID}) {}

std::string PostingIndex::key(const std::string& accountId, const std::string& currencyId) {
    return accountId + '\x1f' + currencyId;
}

void PostingIndex::rebuild() {
    rows_.clear();
    for (int r = 1; r <= list_.count(); ++r)
        rows_.emplace(key(list_.cell(r, pst::DebitAccountID), list_.cell(r, pst::ResCurrID)), r);
}

int PostingIndex::find(const std::string& accountId, const std::string& currencyId) {
    ensure();
    auto it = rows_.find(key(accountId, currencyId));
    return it == rows_.end() ? 0 : it->second;
}

int PostingIndex::append(const std::string& slNo, const std::string& accountId,
                         const std::string& currencyId) {
    ensure();
    Quiet q(*this);
    int row = list_.add(slNo);
    list_.setCell(row, pst::DebitAccountID, accountId);
    list_.setCell(row, pst::ResCurrID, currencyId);
    rows_.emplace(key(accountId, currencyId), row);
    return row;
}

}  // namespace linking

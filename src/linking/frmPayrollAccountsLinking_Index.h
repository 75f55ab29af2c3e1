#pragma once
// Lookups that the linking screen keeps beside its three lists. The lists stay the source of
// truth (the save and the line editor read them); these only answer "which rows" without a
// walk of a list of 40,000 rows per tick.
//
// Each lookup watches its list. Rows added through it are recorded as they come; any other
// change to the rows (a clear, a removal, a row added by someone else, or for the posting
// list a change of a key cell by the line editor) makes it stale, and it is rebuilt from the
// list the next time it is asked.
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "entry/Module.h"
#include "ui/Controls.h"

namespace linking {

class ListIndex {
public:
    ListIndex(ui::ListView& list, std::vector<int> keyColumns);
    virtual ~ListIndex();
    ListIndex(const ListIndex&) = delete;
    ListIndex& operator=(const ListIndex&) = delete;

protected:
    // While held, row and key-cell changes are the owner's own and recorded by it.
    class Quiet {
    public:
        explicit Quiet(ListIndex& index) : index_(index) { ++index_.quiet_; }
        ~Quiet() { --index_.quiet_; }
        Quiet(const Quiet&) = delete;
        Quiet& operator=(const Quiet&) = delete;

    private:
        ListIndex& index_;
    };

    void ensure();
    virtual void rebuild() = 0;
    virtual void tickChanged(int row) { (void)row; }

    ui::ListView& list_;
    bool stale_ = true;

private:
    void changed(ui::Change change, int row, int col);

    std::vector<int> keyColumns_;
    int quiet_ = 0;
    int listener_ = 0;
};

// lvwTransactions: the first row of each "Trans ID ".
class TransactionIndex : public ListIndex {
public:
    explicit TransactionIndex(ui::ListView& list);
    int find(int32_t transId);  // 0 when not listed
    // Adds a row with its own number as text; the caller fills the cells.
    int append(int32_t transId);

private:
    void rebuild() override;
    std::unordered_map<int32_t, int> rows_;
};

// lvwTransactionDetails: the rows of each "Trans ID ", in list order, and how many are ticked.
class DetailIndex : public ListIndex {
public:
    explicit DetailIndex(ui::ListView& list);
    const std::vector<int>& rowsOf(int32_t transId);
    bool allTicked();
    int append(int32_t transId);

private:
    void rebuild() override;
    void tickChanged(int row) override;
    std::unordered_map<int32_t, std::vector<int>> rows_;
    std::vector<char> ticks_;  // by row, [0] unused
    int ticked_ = 0;
};

// lvwPostingDetails: the first line of each account and transaction currency.
class PostingIndex : public ListIndex {
public:
    explicit PostingIndex(ui::ListView& list);
    int find(const std::string& accountId, const std::string& currencyId);  // 0 when none
    int append(const std::string& slNo, const std::string& accountId, const std::string& currencyId);

private:
    void rebuild() override;
    static std::string key(const std::string& accountId, const std::string& currencyId);
    std::unordered_map<std::string, int> rows_;
};

// A whole number as the screen reads one from a list cell.
int32_t WholeNumber(const std::string& text);

// The posting list's balance (sum of "Dept amount"); a failure is logged under the
// journal editor's names, as everywhere the balance is taken, and gives 0.
double PostingBalance(entry::Module& module, const ui::ListView& postingDetails);

}  // namespace linking

#pragma once
// The table of a month-end run, before (a dry run: what would be posted) and after posting:
// one row per department and currency with the entry's number, its sources and lines and the
// debit and credit in that currency, the totals per currency, and a sentence that counts the
// departments. Amounts show with thousand separators; the table copies to the clipboard (tab
// separated, for a spreadsheet), prints, and saves as CSV with plain numbers.
#include <QString>
#include <QTableWidget>
#include <vector>

#include "browser/PostAllDepartments.h"

namespace qtui {

class PostAllTable : public QTableWidget {
    Q_OBJECT
public:
    explicit PostAllTable(QWidget* parent = nullptr);

    // Shows a run's outcomes; dryRun words the totals as what would be posted.
    void showRun(const std::vector<browser::DepartmentOutcome>& outcomes, bool dryRun, bool stopped);
    // How many departments were (or would be) posted.
    int posted() const { return posted_; }
    // "5 department(s): 5 posted, 0 with nothing to post, 0 not posted".
    const QString& counts() const { return counts_; }

    // Every row, the headings first, cells joined by tabs.
    QString tabSeparated() const;
    // RFC 4180 with the amounts as plain numbers (texts that a spreadsheet would take for a
    // formula are kept as text).
    std::string csv() const;
    // The table as HTML for printing, under a title.
    QString html(const QString& title) const;

    void copyAll() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct Row {
        QString department, entry, sources, lines, currency;
        double debit = 0, credit = 0;
        bool hasAmounts = false;
        QString note;
    };
    void addRow(const Row& row);

    std::vector<Row> rows_;
    int posted_ = 0;
    QString counts_;
};

// The numbers a dry run's entries would get in one run. A dry run rolls each department back,
// so every entry is told the same next number: in one run they take it and the numbers after
// it, in the order they are posted. Numbers that differ already are kept as they are.
std::vector<std::string> numbersInOneRun(const std::vector<browser::DepartmentOutcome>& outcomes);

}  // namespace qtui

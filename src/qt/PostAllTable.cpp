#include "qt/PostAllTable.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <map>

#include "qt/ItemLook.h"
#include "report/LedgerExport.h"

namespace qtui {

namespace {

using Status = browser::DepartmentOutcome::Status;

const char* const kHeadings[] = {"Department", "Entry", "Sources", "Lines",
                                 "Currency",   "Debit", "Credit",  "Note"};
constexpr int kColumns = 8, kDebit = 5, kCredit = 6;

QString qs(const std::string& s) { return QString::fromStdString(s); }
QString shown(double amount) { return formatAmount(QString::number(amount, 'f', 2)); }

}  // namespace

std::vector<std::string> numbersInOneRun(const std::vector<browser::DepartmentOutcome>& outcomes) {
    std::vector<std::string> numbers;
    std::string first;
    bool same = true;
    int posted = 0;
    for (const auto& d : outcomes) {
        numbers.push_back(d.entryNo);
        if (d.status != Status::Posted) continue;
        if (posted++ == 0) first = d.entryNo;
        same &= d.entryNo == first;
    }
    size_t digits = first.size();
    while (digits > 0 && first[digits - 1] >= '0' && first[digits - 1] <= '9') --digits;
    if (posted < 2 || !same || digits == first.size() || first.size() - digits > 9) return numbers;
    long long next = std::stoll(first.substr(digits));
    for (size_t i = 0; i < outcomes.size(); ++i)
        if (outcomes[i].status == Status::Posted)
            numbers[i] = first.substr(0, digits) + std::to_string(next++);
    return numbers;
}

PostAllTable::PostAllTable(QWidget* parent) : QTableWidget(parent) {
    setObjectName("outcomes");
    setColumnCount(kColumns);
    QStringList headings;
    for (const char* h : kHeadings) headings << tr(h);
    setHorizontalHeaderLabels(headings);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setWordWrap(false);
    verticalHeader()->setVisible(false);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setStretchLastSection(true);
    for (int col : {2, 3, kDebit, kCredit})
        horizontalHeaderItem(col)->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
}

void PostAllTable::addRow(const Row& row) {
    rows_.push_back(row);
    const int r = rowCount();
    insertRow(r);
    const QString cells[kColumns] = {row.department,
                                     row.entry,
                                     row.sources,
                                     row.lines,
                                     row.currency,
                                     row.hasAmounts ? shown(row.debit) : QString(),
                                     row.hasAmounts ? shown(row.credit) : QString(),
                                     row.note};
    for (int c = 0; c < kColumns; ++c) {
        auto* item = new QTableWidgetItem(cells[c]);
        if (c == 2 || c == 3 || c == kDebit || c == kCredit)
            item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        if (c == kColumns - 1 || c == 0) item->setToolTip(cells[c]);
        if (row.department == tr("Total")) {
            QFont bold = font();
            bold.setBold(true);
            item->setFont(bold);
        }
        setItem(r, c, item);
    }
}

void PostAllTable::showRun(const std::vector<browser::DepartmentOutcome>& outcomes, bool dryRun,
                           bool stopped) {
    setRowCount(0);
    rows_.clear();
    const std::vector<std::string> numbers = dryRun ? numbersInOneRun(outcomes) : std::vector<std::string>();
    int nothing = 0, failed = 0, sources = 0, lines = 0;
    posted_ = 0;
    std::map<std::string, std::pair<double, double>> totals;
    for (size_t i = 0; i < outcomes.size(); ++i) {
        const auto& d = outcomes[i];
        const QString note = d.status == Status::NothingToPost ? tr("nothing to post")
                             : d.status == Status::NotPosted   ? tr("not posted: %1").arg(qs(d.reason))
                                                               : QString();
        const QString entry = qs(dryRun ? numbers[i] : d.entryNo);
        if (d.totals.empty() || d.status == Status::NothingToPost) {
            addRow({qs(d.name), QString(), QString(), QString(), QString(), 0, 0, false, note});
        } else {
            bool first = true;
            for (const auto& [currency, t] : d.totals) {
                addRow({first ? qs(d.name) : QString(), first ? entry : QString(),
                        first ? QString::number(d.sources) : QString(),
                        first ? QString::number(d.lines) : QString(), qs(currency), t.first, t.second, true,
                        first ? note : QString()});
                first = false;
            }
        }
        nothing += d.status == Status::NothingToPost ? 1 : 0;
        failed += d.status == Status::NotPosted ? 1 : 0;
        if (d.status != Status::Posted) continue;
        ++posted_;
        sources += d.sources;
        lines += d.lines;
        for (const auto& [currency, t] : d.totals) {
            totals[currency].first += t.first;
            totals[currency].second += t.second;
        }
    }
    const QString summary = dryRun ? tr("%1 would post").arg(posted_) : tr("%1 posted").arg(posted_);
    if (totals.empty())
        addRow({tr("Total"),
                summary,
                QString::number(sources),
                QString::number(lines),
                QString(),
                0,
                0,
                false,
                {}});
    bool first = true;
    for (const auto& [currency, t] : totals) {
        addRow({tr("Total"),
                first ? summary : QString(),
                first ? QString::number(sources) : QString(),
                first ? QString::number(lines) : QString(),
                qs(currency),
                t.first,
                t.second,
                true,
                {}});
        first = false;
    }
    counts_ = tr("%1 department(s): %2 %3, %4 with nothing to post, %5 not posted%6")
                  .arg(outcomes.size())
                  .arg(posted_)
                  .arg(dryRun ? tr("would be posted") : tr("posted"))
                  .arg(nothing)
                  .arg(failed)
                  .arg(stopped ? tr(" (stopped)") : QString());
    resizeColumnsToContents();
}

QString PostAllTable::tabSeparated() const {
    QStringList lines;
    QStringList cells;
    for (int c = 0; c < columnCount(); ++c) cells << horizontalHeaderItem(c)->text();
    lines << cells.join('\t');
    for (int r = 0; r < rowCount(); ++r) {
        cells.clear();
        for (int c = 0; c < columnCount(); ++c) cells << item(r, c)->text();
        lines << cells.join('\t');
    }
    lines << counts_;
    return lines.join('\n') + '\n';
}

std::string PostAllTable::csv() const {
    std::string out;
    for (int c = 0; c < kColumns; ++c) out += (c > 0 ? "," : "") + report::CsvField(kHeadings[c]);
    out += "\r\n";
    auto field = [](const QString& text) { return report::CsvTextField(text.toStdString()); };
    for (const Row& r : rows_) {
        out += field(r.department) + ',' + field(r.entry) + ',' + field(r.sources) + ',' + field(r.lines) +
               ',' + field(r.currency) + ',';
        if (r.hasAmounts)
            out += QString::number(r.debit, 'f', 2).toStdString() + ',' +
                   QString::number(r.credit, 'f', 2).toStdString();
        else
            out += ',';
        out += ',' + field(r.note) + "\r\n";
    }
    return out;
}

QString PostAllTable::html(const QString& title) const {
    QString out =
        "<h3>" + title.toHtmlEscaped() + "</h3><table border='1' cellspacing='0' cellpadding='3'><tr>";
    for (int c = 0; c < columnCount(); ++c)
        out += "<th>" + horizontalHeaderItem(c)->text().toHtmlEscaped() + "</th>";
    out += "</tr>";
    for (int r = 0; r < rowCount(); ++r) {
        out += "<tr>";
        for (int c = 0; c < columnCount(); ++c) {
            const bool right = item(r, c)->textAlignment() & Qt::AlignRight;
            out +=
                QString(right ? "<td align='right'>" : "<td>") + item(r, c)->text().toHtmlEscaped() + "</td>";
        }
        out += "</tr>";
    }
    return out + "</table><p>" + counts_.toHtmlEscaped() + "</p>";
}

void PostAllTable::copyAll() const { QApplication::clipboard()->setText(tabSeparated()); }

void PostAllTable::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        copyAll();
        return;
    }
    QTableWidget::keyPressEvent(event);
}

}  // namespace qtui

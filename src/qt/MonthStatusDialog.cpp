#include "qt/MonthStatusDialog.h"

#include <QDateEdit>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "browser/MonthStatusView.h"
#include "common/Conv.h"
#include "common/TransactionTypes.h"
#include "entry/Module.h"
#include "report/Voucher.h"

namespace qtui {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }

class MonthStatusDialog : public QDialog {
public:
    MonthStatusDialog(QWidget* parent, browser::FrmMaster& master) : QDialog(parent), view_(master) {
        setObjectName("MonthStatus");
        setWindowTitle("Month status");
        const common::DateTime day = common::toDate(master.module().session.processDate);
        month_ = new QDateEdit(QDate(day.year, day.month, 1), this);
        month_->setObjectName("month");
        month_->setDisplayFormat("MMMM yyyy");
        month_->setCalendarPopup(true);
        grid_ = new QTableWidget(this);
        grid_->setObjectName("grid");
        grid_->setEditTriggers(QAbstractItemView::NoEditTriggers);
        grid_->setSelectionMode(QAbstractItemView::SingleSelection);
        grid_->setWordWrap(true);
        summary_ = new QLabel(this);
        summary_->setObjectName("summary");
        summary_->setWordWrap(true);
        auto* top = new QHBoxLayout;
        top->addWidget(new QLabel("Month :", this));
        top->addWidget(month_);
        top->addStretch();
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        auto* layout = new QVBoxLayout(this);
        layout->addLayout(top);
        layout->addWidget(grid_, 1);
        layout->addWidget(summary_);
        layout->addWidget(buttons);
        connect(month_, &QDateEdit::dateChanged, this, [this] { reload(); });
        connect(grid_, &QTableWidget::cellDoubleClicked, this,
                [this](int row, int column) { openCell(row, column); });
        resize(980, 420);
        reload();
    }

private:
    void reload() {
        const QDate d = month_->date();
        try {
            view_.load(common::DateTime::ymd(d.year(), d.month(), 1));
        } catch (const std::exception& e) {
            QMessageBox::information(this, windowTitle(), QString::fromUtf8(e.what()));
            return;
        }
        fill();
    }

    // Types down, departments across, as the entry list orders the types.
    void fill() {
        const report::MonthStatus& s = view_.status();
        grid_->clear();
        grid_->setRowCount(static_cast<int>(common::TransactionTypes().size()));
        grid_->setColumnCount(static_cast<int>(s.departments.size()));
        QStringList types, departments;
        for (const auto& t : common::TransactionTypes()) types << QString::fromUtf8(t.name);
        for (const auto& d : s.departments) departments << qs(d.name);
        grid_->setVerticalHeaderLabels(types);
        grid_->setHorizontalHeaderLabels(departments);
        for (int r = 0; r < grid_->rowCount(); ++r)
            for (int c = 0; c < grid_->columnCount(); ++c) {
                auto* item = new QTableWidgetItem;
                const report::StatusCell* cell =
                    s.find(common::TransactionTypes()[static_cast<size_t>(r)].code,
                           s.departments[static_cast<size_t>(c)].id);
                if (cell == nullptr) {
                    item->setBackground(QColor(245, 245, 245));
                } else if (cell->open > 0) {
                    item->setText(
                        QString("%1 open\n%2%3")
                            .arg(cell->open)
                            .arg(qs(report::Amount(cell->openAmount)), cell->withoutRate > 0 ? "*" : ""));
                    item->setBackground(QColor(255, 224, 160));
                } else {
                    QStringList numbers;
                    for (const auto& e : cell->entries) numbers << qs(e.transNo);
                    item->setText(QString("posted\n%1").arg(numbers.join(' ')));
                    item->setBackground(QColor(200, 235, 200));
                }
                if (cell != nullptr) item->setToolTip(tip(*cell));
                grid_->setItem(r, c, item);
            }
        grid_->resizeColumnsToContents();
        grid_->resizeRowsToContents();
        const report::StatusCell total = s.total();
        QString text = QString("%1 payroll runs and payments, %2 posted, %3 open")
                           .arg(total.sources)
                           .arg(total.posted)
                           .arg(total.open);
        if (total.open > 0)
            text += QString(": %1 %2").arg(qs(report::Amount(total.openAmount)), qs(s.companyCurrency));
        if (total.withoutRate > 0)
            text += QString(" (* %1 without an exchange rate, left out)").arg(total.withoutRate);
        summary_->setText(text + ". Double-click an open cell to post it, a posted one to open its entry.");
    }

    static QString tip(const report::StatusCell& c) {
        QString t = QString("%1 sources: %2 posted, %3 open").arg(c.sources).arg(c.posted).arg(c.open);
        if (c.released > 0) t += QString(", %1 released by a cancelled entry").arg(c.released);
        if (!c.entries.empty()) t += QString("\nEntries: %1").arg(qs(report::EntryList(c.entries)));
        return t;
    }

    void openCell(int row, int column) {
        const report::MonthStatus& s = view_.status();
        if (row < 0 || column < 0 || static_cast<size_t>(column) >= s.departments.size()) return;
        const std::string code = common::TransactionTypes()[static_cast<size_t>(row)].code;
        const int32_t department = s.departments[static_cast<size_t>(column)].id;
        const report::StatusCell* cell = s.find(code, department);
        size_t entry = 0;
        // A posted cell of several entries: the user picks one.
        if (cell != nullptr && cell->open == 0 && cell->entries.size() > 1) {
            QMenu menu(this);
            for (size_t i = 0; i < cell->entries.size(); ++i)
                menu.addAction(qs(cell->entries[i].transNo))->setData(static_cast<int>(i));
            QAction* chosen = menu.exec(QCursor::pos());
            if (chosen == nullptr) return;
            entry = static_cast<size_t>(chosen->data().toInt());
        }
        try {
            if (view_.open(code, department, entry) == browser::MonthStatusView::Opened::Nothing &&
                !view_.refusal().empty())
                QMessageBox::information(this, windowTitle(), qs(view_.refusal()));
        } catch (const std::exception& e) {
            QMessageBox::information(this, windowTitle(), QString::fromUtf8(e.what()));
        }
        fill();
    }

    browser::MonthStatusView view_;
    QDateEdit* month_;
    QTableWidget* grid_;
    QLabel* summary_;
};

}  // namespace

void addMonthStatusAction(QDialog& window, browser::FrmMaster& master) {
    auto* button = new QPushButton("Month status...", &window);
    button->setObjectName("cmdMonthStatus");
    button->setEnabled(browser::MonthStatusView(master).permitted());
    QObject::connect(button, &QPushButton::clicked, &window, [&window, &master] {
        MonthStatusDialog dialog(&window, master);
        dialog.exec();
    });
    // Beside Delete, at the end of the first row of the browser's buttons: a row of its own
    // would make the window taller than a small screen holds.
    auto* grid = window.findChild<QGridLayout*>("layout2");
    if (grid != nullptr && grid->itemAtPosition(0, grid->columnCount()) == nullptr)
        grid->addWidget(button, 0, grid->columnCount());
    else if (QLayout* layout = window.layout())
        layout->addWidget(button);
}

}  // namespace qtui

#include "qt/PostAllAction.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGridLayout>
#include <QLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressDialog>
#include <QPushButton>
#include <QVBoxLayout>

#include "browser/FrmMaster.h"
#include "browser/PostAllDepartments.h"
#include "common/Conv.h"
#include "entry/Module.h"
#include "entry/qorPayrollAccounts.h"

namespace qtui {

namespace {

QDate toQDate(const common::DateTime& d) { return QDate(d.year, d.month, d.day); }
common::DateTime fromQDate(const QDate& d) { return common::DateTime::ymd(d.year(), d.month(), d.day()); }

// The type, the range, the entry date and the remarks; false when cancelled.
bool askRequest(QWidget* parent, const common::DateTime& processDate, browser::PostRequest& request) {
    QDialog dialog(parent);
    dialog.setObjectName("PostAllDepartments");
    dialog.setWindowTitle("Post all departments");
    auto* form = new QFormLayout;
    auto* type = new QComboBox(&dialog);
    type->setObjectName("type");
    for (const auto& t : entry::kTransactionTypes) type->addItem(QString::fromUtf8(t.name));
    const QDate day = toQDate(processDate);
    auto* from = new QDateEdit(QDate(day.year(), day.month(), 1), &dialog);
    auto* to = new QDateEdit(QDate(day.year(), day.month(), day.daysInMonth()), &dialog);
    auto* entryDate = new QDateEdit(day, &dialog);
    for (auto* d : {from, to, entryDate}) {
        d->setDisplayFormat("dd/MM/yyyy");
        d->setCalendarPopup(true);
    }
    from->setObjectName("from");
    to->setObjectName("to");
    entryDate->setObjectName("entryDate");
    auto* remarks = new QLineEdit(&dialog);
    remarks->setObjectName("remarks");
    form->addRow("Type :", type);
    form->addRow("From :", from);
    form->addRow("To :", to);
    form->addRow("Date :", entryDate);
    form->addRow("Remarks :", remarks);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    buttons->button(QDialogButtonBox::Ok)->setText("Post");
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addLayout(form);
    layout->addWidget(buttons);
    for (;;) {
        if (dialog.exec() != QDialog::Accepted) return false;
        if (to->date() < from->date()) {
            QMessageBox::information(&dialog, dialog.windowTitle(), "The range ends before it starts.");
            continue;
        }
        break;
    }
    request.type = type->currentText().toStdString();
    request.from = fromQDate(from->date());
    request.to = fromQDate(to->date());
    request.entryDate = fromQDate(entryDate->date());
    request.remarks = remarks->text().toStdString();
    return true;
}

void showSummary(QWidget* parent, const QString& title, const std::string& text) {
    QDialog dialog(parent);
    dialog.setObjectName("PostAllSummary");
    dialog.setWindowTitle(title);
    auto* view = new QPlainTextEdit(QString::fromStdString(text), &dialog);
    view->setReadOnly(true);
    view->setLineWrapMode(QPlainTextEdit::NoWrap);
    view->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    view->setMinimumSize(760, 260);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, &dialog);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(view);
    layout->addWidget(buttons);
    dialog.exec();
}

void postAll(QDialog& window, browser::FrmMaster& master) {
    entry::Module& module = master.module();
    const entry::SessionContext& s = module.session;
    browser::PostRequest request;
    if (!askRequest(&window, common::toDate(s.processDate), request)) return;

    browser::PostSession session;
    session.connection = s.connection;
    session.userId = s.userId;
    session.companyId = s.companyId;
    session.interfaceId = s.interfaceId;
    session.msgTitle = s.msgTitle;
    session.processDate = s.processDate;
    session.projectKey = entry::kProjectKey;

    QProgressDialog progress("Posting...", "Stop after this department", 0, 1, &window);
    progress.setObjectName("PostAllProgress");
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(0);
    browser::PostAllDepartments run(session);
    std::vector<browser::DepartmentOutcome> outcomes;
    try {
        outcomes = run.run(request, [&](int i, int n, const std::string& name) {
            progress.setMaximum(n);
            progress.setValue(i - 1);
            progress.setLabelText(
                QString("Department %1 of %2: %3").arg(i).arg(n).arg(QString::fromStdString(name)));
            QCoreApplication::processEvents();
            return !progress.wasCanceled();
        });
    } catch (const std::exception& e) {
        progress.close();
        QMessageBox::information(&window, QString::fromStdString(s.msgTitle), QString::fromUtf8(e.what()));
        return;
    }
    progress.close();
    if (!run.refused().empty()) {
        QMessageBox::information(&window, QString::fromStdString(s.msgTitle),
                                 QString::fromStdString(run.refused()));
        return;
    }
    master.PopulateRecentEntries();
    showSummary(&window, "Post all departments", browser::PostSummary(outcomes, false, run.cancelled()));
}

}  // namespace

void addPostAllAction(QDialog& window, browser::FrmMaster& master) {
    auto* button = new QPushButton("Post all departments...", &window);
    button->setObjectName("cmdPostAll");
    // The same right as New: the action makes new entries.
    button->setEnabled(master.cmdnew.enabled());
    QObject::connect(button, &QPushButton::clicked, &window, [&window, &master] {
        if (!master.cmdnew.enabled()) return;
        postAll(window, master);
    });
    // Between Print and Close, where the browser's button grid has a free place.
    auto* grid = window.findChild<QGridLayout*>("layout2");
    if (grid != nullptr && grid->itemAtPosition(1, 1) == nullptr)
        grid->addWidget(button, 1, 1);
    else if (QLayout* layout = window.layout())
        layout->addWidget(button);
}

}  // namespace qtui

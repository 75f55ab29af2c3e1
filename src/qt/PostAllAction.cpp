#include "qt/PostAllAction.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QProgressDialog>
#include <QPushButton>
#include <QTextDocument>
#include <QVBoxLayout>
#include <optional>

#include "browser/FrmMaster.h"
#include "browser/PostAllDepartments.h"
#include "common/Conv.h"
#include "common/Files.h"
#include "entry/Module.h"
#include "entry/qorPayrollAccounts.h"
#include "qt/PostAllTable.h"

namespace qtui {

namespace {

QDate toQDate(const common::DateTime& d) { return QDate(d.year, d.month, d.day); }
common::DateTime fromQDate(const QDate& d) { return common::DateTime::ymd(d.year(), d.month(), d.day()); }
QString qs(const std::string& s) { return QString::fromStdString(s); }

// A push button that Enter never presses: only a click or Space does.
QPushButton* button(const QString& name, const QString& text, QWidget* parent) {
    auto* b = new QPushButton(text, parent);
    b->setObjectName(name);
    b->setAutoDefault(false);
    b->setDefault(false);
    return b;
}

browser::PostSession sessionOf(const entry::Module& module) {
    const entry::SessionContext& s = module.session;
    browser::PostSession session;
    session.connection = s.connection;
    session.userId = s.userId;
    session.companyId = s.companyId;
    session.interfaceId = s.interfaceId;
    session.msgTitle = s.msgTitle;
    session.processDate = s.processDate;
    session.projectKey = entry::kProjectKey;
    return session;
}

struct Run {
    std::vector<browser::DepartmentOutcome> outcomes;
    bool stopped = false;
};

// One run, dry or real, with a progress dialog that stops after the current department when
// cancelled. Nothing when the run could not start; the user has been told why.
std::optional<Run> runWithProgress(QWidget* parent, const entry::Module& module,
                                   const browser::PostRequest& request) {
    const QString title = qs(module.session.msgTitle);
    QProgressDialog progress(
        request.dryRun ? QObject::tr("Checking what would be posted...") : QObject::tr("Posting..."),
        QObject::tr("Stop after this department"), 0, 1, parent);
    progress.setObjectName("PostAllProgress");
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(0);
    browser::PostAllDepartments run(sessionOf(module));
    Run result;
    try {
        result.outcomes = run.run(request, [&](int i, int n, const std::string& name) {
            progress.setMaximum(n);
            progress.setValue(i - 1);
            progress.setLabelText(QObject::tr("Department %1 of %2: %3").arg(i).arg(n).arg(qs(name)));
            QCoreApplication::processEvents();
            return !progress.wasCanceled();
        });
    } catch (const std::exception& e) {
        progress.close();
        QMessageBox::information(parent, title, QString::fromUtf8(e.what()));
        return std::nullopt;
    }
    progress.close();
    if (!run.refused().empty()) {
        QMessageBox::information(parent, title, qs(run.refused()));
        return std::nullopt;
    }
    result.stopped = run.cancelled();
    return result;
}

// The type, the range, the entry date and the remarks; Preview shows what a run would post,
// and only the "Post n entries" button, pressed after a preview of these very fields, posts.
class PostAllDialog : public QDialog {
public:
    PostAllDialog(QWidget* parent, const entry::Module& module) : QDialog(parent), module_(module) {
        setObjectName("PostAllDepartments");
        setWindowTitle(tr("Post all departments"));
        auto* form = new QFormLayout;
        type_ = new QComboBox(this);
        type_->setObjectName("type");
        for (const auto& t : entry::TransactionTypes()) type_->addItem(QString::fromUtf8(t.name));
        const QDate day = toQDate(common::toDate(module.session.processDate));
        from_ = new QDateEdit(QDate(day.year(), day.month(), 1), this);
        to_ = new QDateEdit(QDate(day.year(), day.month(), day.daysInMonth()), this);
        entryDate_ = new QDateEdit(day, this);
        for (auto [edit, name] : {std::pair{from_, "from"}, {to_, "to"}, {entryDate_, "entryDate"}}) {
            edit->setObjectName(name);
            edit->setDisplayFormat("dd/MM/yyyy");
            edit->setCalendarPopup(true);
        }
        remarks_ = new QLineEdit(this);
        remarks_->setObjectName("remarks");
        remarks_->setMaxLength(255);  // the column's length, as on the linking screen
        form->addRow(tr("&Type :"), type_);
        form->addRow(tr("&From :"), from_);
        form->addRow(tr("T&o :"), to_);
        form->addRow(tr("&Date :"), entryDate_);
        form->addRow(tr("&Remarks :"), remarks_);

        table_ = new PostAllTable(this);
        table_->setMinimumHeight(160);
        note_ = new QLabel(tr("Preview shows each department's entry before anything is written."), this);
        note_->setObjectName("note");
        note_->setWordWrap(true);

        preview_ = button("preview", tr("Pre&view"), this);
        // The one default: Enter in a field previews, which writes nothing.
        preview_->setDefault(true);
        post_ = button("post", tr("Post entries"), this);
        post_->setEnabled(false);
        auto* close = button("close", tr("Close"), this);
        auto* buttons = new QDialogButtonBox(this);
        buttons->addButton(preview_, QDialogButtonBox::ActionRole);
        buttons->addButton(post_, QDialogButtonBox::ActionRole);
        buttons->addButton(close, QDialogButtonBox::RejectRole);
        connect(close, &QPushButton::clicked, this, &QDialog::reject);
        connect(preview_, &QPushButton::clicked, this, [this] { preview(); });
        connect(post_, &QPushButton::clicked, this, [this] { accept(); });
        // A preview speaks for the fields it was made from only.
        connect(type_, &QComboBox::currentIndexChanged, this, [this] { stale(); });
        for (auto* d : {from_, to_, entryDate_})
            connect(d, &QDateEdit::dateChanged, this, [this] { stale(); });
        connect(remarks_, &QLineEdit::textChanged, this, [this] { stale(); });

        auto* layout = new QVBoxLayout(this);
        layout->addLayout(form);
        layout->addWidget(table_, 1);
        layout->addWidget(note_);
        layout->addWidget(buttons);
        resize(760, 460);
    }

    browser::PostRequest request() const {
        browser::PostRequest r;
        r.type = type_->currentText().toStdString();
        r.from = fromQDate(from_->date());
        r.to = fromQDate(to_->date());
        r.entryDate = fromQDate(entryDate_->date());
        r.remarks = remarks_->text().toStdString();
        return r;
    }

private:
    void preview() {
        if (to_->date() < from_->date()) {
            QMessageBox::information(this, windowTitle(), tr("The range ends before it starts."));
            return;
        }
        browser::PostRequest r = request();
        r.dryRun = true;
        const std::optional<Run> run = runWithProgress(this, module_, r);
        if (!run) return;
        table_->showRun(run->outcomes, true, run->stopped);
        const int n = run->stopped ? 0 : table_->posted();
        note_->setText(table_->counts() + ". " +
                       (run->stopped
                            ? tr("The preview was stopped: preview again to post.")
                            : tr("Numbers as the entries will get them unless someone saves an entry "
                                 "meanwhile.")));
        post_->setText(n == 0 ? tr("Post entries") : tr("&Post %n entries", nullptr, n));
        post_->setEnabled(n > 0);
    }

    void stale() {
        if (!post_->isEnabled() && table_->rowCount() == 0) return;
        post_->setEnabled(false);
        post_->setText(tr("Post entries"));
        note_->setText(tr("Changed since the preview: preview again before posting."));
    }

    const entry::Module& module_;
    QComboBox* type_;
    QDateEdit *from_, *to_, *entryDate_;
    QLineEdit* remarks_;
    PostAllTable* table_;
    QLabel* note_;
    QPushButton *preview_, *post_;
};

void saveCsv(QWidget* parent, const PostAllTable& table, const QString& suggested) {
    QFileDialog dialog(parent, QObject::tr("Save the summary as CSV"), QDir::home().filePath(suggested),
                       QObject::tr("CSV files (*.csv)"));
    dialog.setObjectName("saveSummary");
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix("csv");
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return;
    const std::string file = dialog.selectedFiles().front().toStdString();
    try {
        common::OutputFile out(file);
        out.write(table.csv());
        out.commit();
    } catch (const std::exception& e) {
        QMessageBox::information(parent, dialog.windowTitle(), QString::fromUtf8(e.what()));
    }
}

void printTable(QWidget* parent, const PostAllTable& table, const QString& title) {
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(title);
    QPrintPreviewDialog preview(&printer, parent);
    preview.setObjectName("PostAllPrint");
    QTextDocument document;
    document.setHtml(table.html(title));
    QObject::connect(&preview, &QPrintPreviewDialog::paintRequested,
                     [&document](QPrinter* p) { document.print(p); });
    preview.exec();
}

void showSummary(QWidget* parent, const browser::PostRequest& request, const Run& run) {
    QDialog dialog(parent);
    dialog.setObjectName("PostAllSummary");
    dialog.setWindowTitle(QObject::tr("Post all departments"));
    auto* table = new PostAllTable(&dialog);
    table->showRun(run.outcomes, false, run.stopped);
    auto* counts = new QLabel(table->counts(), &dialog);
    counts->setObjectName("counts");
    const QString title = QObject::tr("%1 from %2 to %3")
                              .arg(qs(request.type), qs(common::formatDate(request.from, "dd/MM/yyyy")),
                                   qs(common::formatDate(request.to, "dd/MM/yyyy")));
    const QString file = QStringLiteral("post-all-%1-%2.csv")
                             .arg(qs(request.type).toLower().replace(' ', '-'),
                                  qs(common::formatDate(request.from, "yyyy-mm")));
    auto* copy = button("copy", QObject::tr("&Copy"), &dialog);
    auto* print = button("print", QObject::tr("&Print..."), &dialog);
    auto* save = button("saveCsv", QObject::tr("&Save as CSV..."), &dialog);
    auto* close = button("close", QObject::tr("Close"), &dialog);
    QObject::connect(copy, &QPushButton::clicked, table, &PostAllTable::copyAll);
    QObject::connect(print, &QPushButton::clicked, &dialog, [&] { printTable(&dialog, *table, title); });
    QObject::connect(save, &QPushButton::clicked, &dialog, [&] { saveCsv(&dialog, *table, file); });
    QObject::connect(close, &QPushButton::clicked, &dialog, &QDialog::reject);
    auto* buttons = new QDialogButtonBox(&dialog);
    for (QPushButton* b : {copy, print, save}) buttons->addButton(b, QDialogButtonBox::ActionRole);
    buttons->addButton(close, QDialogButtonBox::RejectRole);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(new QLabel(title, &dialog));
    layout->addWidget(table, 1);
    layout->addWidget(counts);
    layout->addWidget(buttons);
    dialog.resize(760, 400);
    dialog.exec();
}

void postAll(QDialog& window, browser::FrmMaster& master) {
    PostAllDialog ask(&window, master.module());
    if (ask.exec() != QDialog::Accepted) return;
    const browser::PostRequest request = ask.request();
    const std::optional<Run> run = runWithProgress(&window, master.module(), request);
    if (!run) return;
    master.PopulateRecentEntries();
    showSummary(&window, request, *run);
}

}  // namespace

void addPostAllAction(QDialog& window, browser::FrmMaster& master) {
    QPushButton* post = button("cmdPostAll", QObject::tr("Post all departments..."), &window);
    // The same right as New: the action makes new entries.
    post->setEnabled(master.cmdnew.enabled());
    QObject::connect(post, &QPushButton::clicked, &window, [&window, &master] {
        if (!master.cmdnew.enabled()) return;
        postAll(window, master);
        window.activateWindow();
    });
    // Between Print and Close, where the browser's button grid has a free place.
    auto* grid = window.findChild<QGridLayout*>("layout2");
    if (grid != nullptr && grid->itemAtPosition(1, 1) == nullptr)
        grid->addWidget(post, 1, 1);
    else if (QLayout* layout = window.layout())
        layout->addWidget(post);
}

}  // namespace qtui

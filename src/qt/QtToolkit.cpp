#include "qt/QtToolkit.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QCursor>
#include <QDesktopServices>
#include <QEventLoop>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <map>

#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "data/ErrorLog.h"
#include "qt/Binder.h"
#include "qt/FormLayouts.h"
#include "qt/Keyboard.h"
#include "qt/MonthStatusDialog.h"
#include "qt/PostAllAction.h"
#include "qt/Presentation.h"
#include "qt/VoucherPrinter.h"
#include "qt/WindowFit.h"

namespace qtui {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }

}  // namespace

// ---------------------------------------------------------------------------------------
// FormDialog

FormDialog::FormDialog(ui::Form& form, QWidget* parent) : QDialog(parent), form_(form) {
    setObjectName(qs(form.name()));
    setupLayout(form.name(), this);
    setWindowTitle(qs(form.caption()));
    setModal(true);
    binder_ = std::make_unique<Binder>(form, this);
    presentation_ = new Presentation(*this);
    if (auto* master = dynamic_cast<browser::FrmMaster*>(&form)) {
        addPostAllAction(*this, *master);
        addMonthStatusAction(*this, *master);
    }
    keyboard_ = new Keyboard(*this);
}

FormDialog::~FormDialog() {
    // The form may be gone by now: stop reaching for it before the widgets go.
    presentation_->detach();
    binder_->detach();
}

void FormDialog::markUnloaded() {
    if (unloaded_) return;
    unloaded_ = true;
    saveWindowGeometry(*this);
    presentation_->detach();
    binder_->detach();
    hide();
    if (loop_ != nullptr) loop_->exit(0);
}

void FormDialog::runModalLoop() {
    if (unloaded_) return;
    QEventLoop loop;
    loop_ = &loop;
    loop.exec(QEventLoop::DialogExec);
    loop_ = nullptr;
}

void FormDialog::closeEvent(QCloseEvent* event) {
    // The window goes only when the form has been unloaded; Form_QueryUnload may refuse.
    event->ignore();
    if (unloaded_) {
        event->accept();
        return;
    }
    form_.userClose();
}

void FormDialog::reject() {
    if (!unloaded_) keyboard_->leave();
}

void FormDialog::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (ui::Control* active = form_.activeControl()) binder_->focusWidgetOf(*active);
}

// ---------------------------------------------------------------------------------------
// QtToolkit

QtToolkit::QtToolkit() = default;

QtToolkit::~QtToolkit() {
    for (auto& w : stack_) {
        if (w != nullptr) w->binder().detach();
    }
    if (busy_) QApplication::restoreOverrideCursor();
}

FormDialog* QtToolkit::windowOf(const ui::Form& form) const {
    for (auto it = stack_.rbegin(); it != stack_.rend(); ++it)
        if (*it != nullptr && &(*it)->form() == &form && !(*it)->formUnloaded()) return *it;
    return nullptr;
}

FormDialog* QtToolkit::topWindow() const {
    for (auto it = stack_.rbegin(); it != stack_.rend(); ++it)
        if (*it != nullptr && !(*it)->formUnloaded()) return *it;
    return nullptr;
}

void QtToolkit::reactivate() const {
    if (FormDialog* top = topWindow(); top != nullptr && top->isVisible()) top->activateWindow();
}

std::string QtToolkit::moduleHelpFile() { return data::componentFolder() + "/Help/helpfile.hlp"; }

int QtToolkit::msgBox(const ui::MessageBoxRequest& request) {
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    switch (request.icon()) {
        case ui::vbCritical:
            icon = QMessageBox::Critical;
            break;
        case ui::vbQuestion:
            icon = QMessageBox::Question;
            break;
        case ui::vbExclamation:
            icon = QMessageBox::Warning;
            break;
        case ui::vbInformation:
            icon = QMessageBox::Information;
            break;
        default:
            break;
    }
    // The buttons in the classic order, with the answer each gives.
    std::vector<std::pair<QMessageBox::StandardButton, int>> buttons;
    switch (request.buttons()) {
        case ui::vbOKCancel:
            buttons = {{QMessageBox::Ok, ui::vbOK}, {QMessageBox::Cancel, ui::vbCancel}};
            break;
        case 2:
            buttons = {{QMessageBox::Abort, 3}, {QMessageBox::Retry, 4}, {QMessageBox::Ignore, 5}};
            break;
        case ui::vbYesNoCancel:
            buttons = {{QMessageBox::Yes, ui::vbYes},
                       {QMessageBox::No, ui::vbNo},
                       {QMessageBox::Cancel, ui::vbCancel}};
            break;
        case ui::vbYesNo:
            buttons = {{QMessageBox::Yes, ui::vbYes}, {QMessageBox::No, ui::vbNo}};
            break;
        case 5:
            buttons = {{QMessageBox::Retry, 4}, {QMessageBox::Cancel, ui::vbCancel}};
            break;
        default:
            buttons = {{QMessageBox::Ok, ui::vbOK}};
            break;
    }

    for (auto& w : stack_)
        if (w != nullptr) w->binder().flush();

    ++messagesShown_;
    QMessageBox box(icon, qs(request.title), qs(request.text), QMessageBox::NoButton, topWindow());
    for (auto& [b, answer] : buttons) box.addButton(b);
    size_t def = 0;
    if (request.defaultButton() == ui::vbDefaultButton2) def = 1;
    if (request.defaultButton() == ui::vbDefaultButton3) def = 2;
    def = std::min(def, buttons.size() - 1);
    box.setDefaultButton(buttons[def].first);
    // Cancel or the only button answers Escape and the frame's close button; a Yes/No box
    // must be answered.
    for (auto& [b, answer] : buttons)
        if (answer == ui::vbCancel) box.setEscapeButton(b);
    if (buttons.size() == 1) box.setEscapeButton(buttons[0].first);

    // The hourglass is not for a question.
    if (busy_) QApplication::restoreOverrideCursor();
    box.exec();
    if (busy_) QApplication::setOverrideCursor(Qt::WaitCursor);
    reactivate();

    QAbstractButton* clicked = box.clickedButton();
    for (auto& [b, answer] : buttons)
        if (clicked != nullptr && box.button(b) == clicked) return answer;
    // Closed without a button: the escape answer.
    for (auto& [b, answer] : buttons)
        if (answer == ui::vbCancel) return answer;
    return buttons.size() == 1 ? buttons[0].second : buttons.back().second;
}

void QtToolkit::showModal(ui::Form& form) {
    if (windowOf(form) != nullptr) return;  // already shown
    QPointer<FormDialog> dialog = new FormDialog(form, topWindow());
    stack_.push_back(dialog);

    struct Cleanup {
        QtToolkit& toolkit;
        QPointer<FormDialog>& dialog;
        ~Cleanup() {
            auto& s = toolkit.stack_;
            s.erase(std::remove(s.begin(), s.end(), dialog), s.end());
            if (dialog != nullptr) {
                dialog->binder().detach();
                dialog->hide();
                dialog->deleteLater();
            }
        }
    } cleanup{*this, dialog};

    fitToScreen(*dialog, restoreWindowGeometry(*dialog));
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
    // Raised as the classic toolkit did when a form is shown; an error goes to the caller.
    form.Form_Activate();
    if (dialog != nullptr && !dialog->formUnloaded()) {
        dialog->binder().refreshAll();
        dialog->runModalLoop();
    }
}

void QtToolkit::formLoaded(ui::Form& form) {
    // The window is built when the form is shown.
    (void)form;
}

void QtToolkit::formUnloaded(ui::Form& form) {
    FormDialog* dialog = windowOf(form);
    if (dialog == nullptr) return;
    const bool wasTop = dialog == topWindow();
    const QString note = dialog->presentation().closingNote();
    dialog->markUnloaded();
    if (FormDialog* below = topWindow(); below != nullptr && !note.isEmpty())
        below->presentation().note(note);
    if (wasTop) reactivate();
    // The form below a closed modal child becomes the active form again.
    if (wasTop) {
        if (FormDialog* below = topWindow()) below->form().Form_Activate();
    }
}

void QtToolkit::sendKeys(const std::string& keys) {
    // SendKeys queues the keystrokes: they arrive after the running handler has returned.
    const std::string upper = common::UCase(keys);
    for (size_t pos = upper.find("{TAB}"); pos != std::string::npos; pos = upper.find("{TAB}", pos + 5)) {
        QPointer<FormDialog> target = topWindow();
        if (target == nullptr) return;
        QTimer::singleShot(0, target, [target] {
            if (target != nullptr && !target->formUnloaded()) target->tabForward();
        });
    }
}

void QtToolkit::setBusy(bool busy) {
    if (busy == busy_) return;
    busy_ = busy;
    if (FormDialog* top = topWindow()) top->presentation().setBusy(busy);
    if (busy) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        // Long work follows without a turn of the event loop: paint what is there now.
        for (auto& w : stack_) {
            if (w == nullptr || w->formUnloaded()) continue;
            w->binder().flush();
            w->repaint();
        }
    } else {
        QApplication::restoreOverrideCursor();
    }
}

void QtToolkit::showHelp(const std::string& helpFile) {
    std::string path = helpFile;
    std::replace(path.begin(), path.end(), '\\', '/');
    QFileInfo info(qs(path));
    if (info.exists() && info.isFile()) {
        QDesktopServices::openUrl(QUrl::fromLocalFile(info.absoluteFilePath()));
        return;
    }
    ui::MessageBoxRequest request;
    request.text = "The help file " + path + " is not there.";
    request.style = ui::vbOKOnly | ui::vbExclamation;
    request.title = data::kComponentName;
    msgBox(request);
}

void QtToolkit::popupMenu(ui::Form& form, ui::Menu& menu) {
    FormDialog* dialog = windowOf(form);
    QMenu qmenu(dialog != nullptr ? static_cast<QWidget*>(dialog) : topWindow());
    qmenu.setObjectName(qs(menu.name()));
    std::map<QAction*, ui::MenuItem*> items;
    for (ui::MenuItem* item : menu.items) {
        if (!item->visible()) continue;
        QAction* action = qmenu.addAction(qs(item->caption()));
        action->setObjectName(qs(item->name()));
        action->setEnabled(item->enabled());
        items[action] = item;
    }
    menu.open = true;
    QAction* chosen = qmenu.exec(menuAt_.value_or(QCursor::pos()));
    auto it = items.find(chosen);
    if (it == items.end()) {
        menu.open = false;
        return;
    }
    // Returns after the item's Click has run, as the classic PopupMenu did.
    it->second->userClick();
}

void QtToolkit::showError(const common::Error& error) {
    QMessageBox box(QMessageBox::Critical, QString(data::kComponentName),
                    qs("Run-time error '" + std::to_string(error.number()) + "':\n\n" + error.description()),
                    QMessageBox::Ok, topWindow());
    box.exec();
    reactivate();
}

void QtToolkit::focusChanged(ui::Control& control) {
    if (FormDialog* dialog = windowOf(control.form())) dialog->binder().focusWidgetOf(control);
}

void QtToolkit::previewVoucher(const report::Voucher& voucher) {
    for (auto& w : stack_)
        if (w != nullptr) w->binder().flush();
    // The preview is for reading, not waiting.
    if (busy_) QApplication::restoreOverrideCursor();
    showVoucherPreview(voucher, topWindow());
    if (busy_) QApplication::setOverrideCursor(Qt::WaitCursor);
    reactivate();
}

}  // namespace qtui

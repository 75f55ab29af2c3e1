#pragma once
// ui::Toolkit on Qt Widgets: each form shown modally becomes a dialog built from its
// Designer file and bound to the form's control models.
#include <QDialog>
#include <QEventLoop>
#include <QPoint>
#include <QPointer>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/Form.h"
#include "ui/Toolkit.h"

namespace qtui {

class Binder;
class Keyboard;
class Presentation;

// The window of one shown form. The frame's close button asks the form (which may refuse);
// the dialog itself ends only when the form has been unloaded.
class FormDialog : public QDialog {
    Q_OBJECT
public:
    FormDialog(ui::Form& form, QWidget* parent);
    ~FormDialog() override;

    ui::Form& form() const { return form_; }
    Binder& binder() const { return *binder_; }
    Presentation& presentation() const { return *presentation_; }
    Keyboard& keyboard() const { return *keyboard_; }
    bool formUnloaded() const { return unloaded_; }
    void markUnloaded();
    // The nested loop of a modal form: returns when the form has been unloaded.
    void runModalLoop();
    // Moves the focus on as the Tab key does.
    void tabForward() { focusNextChild(); }
    void tabBackward() { focusPreviousChild(); }

protected:
    void closeEvent(QCloseEvent* event) override;
    // Escape presses the screen's own Close or Cancel, where it has one.
    void reject() override;
    void showEvent(QShowEvent* event) override;

private:
    ui::Form& form_;
    std::unique_ptr<Binder> binder_;
    Presentation* presentation_ = nullptr;  // a child of the dialog
    Keyboard* keyboard_ = nullptr;          // a child of the dialog
    bool unloaded_ = false;
    QEventLoop* loop_ = nullptr;
};

class QtToolkit : public ui::Toolkit {
public:
    QtToolkit();
    ~QtToolkit() override;
    QtToolkit(const QtToolkit&) = delete;
    QtToolkit& operator=(const QtToolkit&) = delete;

    int msgBox(const ui::MessageBoxRequest& request) override;
    void showModal(ui::Form& form) override;
    void formLoaded(ui::Form& form) override;
    void formUnloaded(ui::Form& form) override;
    void sendKeys(const std::string& keys) override;
    void setBusy(bool busy) override;
    void showHelp(const std::string& helpFile) override;
    void popupMenu(ui::Form& form, ui::Menu& menu) override;
    void showError(const common::Error& error) override;
    void focusChanged(ui::Control& control) override;
    void previewVoucher(const report::Voucher& voucher) override;

    // The window of a shown form, or nullptr.
    FormDialog* windowOf(const ui::Form& form) const;
    // The innermost shown form's window, or nullptr.
    FormDialog* topWindow() const;
    // How many message boxes have been shown so far.
    int messagesShown() const { return messagesShown_; }
    // Where the next popup menu opens (global), instead of at the mouse pointer.
    void setNextMenuPosition(std::optional<QPoint> at) { menuAt_ = at; }
    // The help file that F1 opens.
    static std::string moduleHelpFile();
    // The innermost form's window takes the keyboard again after a window over it closed,
    // also where no window manager hands it back.
    void reactivate() const;

private:
    std::vector<QPointer<FormDialog>> stack_;  // shown forms, innermost last
    bool busy_ = false;
    int messagesShown_ = 0;
    std::optional<QPoint> menuAt_;
};

}  // namespace qtui

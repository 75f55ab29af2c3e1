#pragma once
// What a window adds to its form that the screens never see: amount formatting, column
// menus, totals, a status line with short notes, tooltips and a size that fits the screen.
// Made after the binder, so that the views already show their models.
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <map>
#include <vector>

class QProgressBar;
class QStatusBar;
class QTreeView;

namespace ui {
class Control;
}

namespace qtui {

class BrowserGrid;
class ColumnMenu;
class FormDialog;

class Presentation : public QObject {
    Q_OBJECT
public:
    explicit Presentation(FormDialog& dialog);
    ~Presentation() override;
    // The form is going: let go of its controls.
    void detach();

    QStatusBar* statusLine() const { return status_; }
    // A short note in the status line; it does not wait for an answer.
    void note(const QString& text);
    // What the window below should say when this form closes now (empty: nothing).
    QString closingNote() const;
    // Long work under way (busy pointer): shows so in the status line.
    void setBusy(bool busy);
    ColumnMenu* columnMenu(const QString& list) const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void dressLists();
    void addTips();
    void watchWork();
    void openMenuAtCurrentRow(QTreeView& tree);
    void showProgress(const QString& text);
    void hideProgress();
    void workStep();
    ui::Control* control(const char* name) const;
    // The entry number of the browser's selected row, when this window was opened from it.
    QString browserEntryNumber() const;

    FormDialog& dialog_;
    QStatusBar* status_ = nullptr;
    QProgressBar* progress_ = nullptr;
    std::map<QString, ColumnMenu*> columnMenus_;
    BrowserGrid* browserGrid_ = nullptr;
    std::vector<std::pair<ui::Control*, int>> listeners_;
    QElapsedTimer work_, lastPaint_;
    QString entryNumber_;  // the entry the cancellation screen cancels
    int messagesBefore_ = 0;
    bool progressShown_ = false;
    bool detached_ = false;
};

}  // namespace qtui

#pragma once
// The keyboard of a window: shortcuts that press a screen's buttons, Tab in reading order,
// Escape for the button that leaves a screen, and Enter or a double click on a browser row
// for Edit. No button is a default: Enter in a field or on a row never presses one behind the
// user's back. Each key presses a button the user could press, so the screens see a click.
#include <QObject>

class QPushButton;

namespace qtui {

class FormDialog;

class Keyboard : public QObject {
    Q_OBJECT
public:
    explicit Keyboard(FormDialog& dialog);

    // The button Escape presses on this window (nullptr: Escape does nothing here).
    QPushButton* leaveButton() const;
    // Presses the leave button if it can be pressed now; false when there is none.
    bool leave();
    // Tab from the top left to the bottom right: rows of a layout before their columns, a
    // frame's fields where the frame stands. Called again when a window adds buttons.
    void orderTabs();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void addShortcuts();
    void openSelectedEntry();

    FormDialog& dialog_;
};

}  // namespace qtui

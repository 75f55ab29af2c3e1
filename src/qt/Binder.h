#pragma once
// Connects every control model of a form to the widget of the same objectName, both ways:
// model changes show at once; user actions go to the model's user* entry points, which
// raise the events. Changes that came from the model never echo back as user actions.
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <map>
#include <memory>
#include <vector>

#include "ui/Form.h"

class QWidget;
class QAbstractItemView;

namespace qtui {

class ListViewModel;
class FlexGridModel;

class Binder : public QObject {
    Q_OBJECT
public:
    Binder(ui::Form& form, QWidget* root);
    ~Binder() override;
    Binder(const Binder&) = delete;
    Binder& operator=(const Binder&) = delete;

    ui::Form& form() const { return form_; }
    // Stops listening to the models and ignores the widgets from now on (form unloaded).
    void detach();
    bool detached() const { return detached_; }

    QWidget* widgetOf(const ui::Control& control) const;
    // The control a widget (or one of its inner widgets) shows, or nullptr.
    ui::Control* controlOf(QWidget* widget) const;
    // Controls with no widget of that name, or with a widget of the wrong kind.
    QStringList unboundControls() const;

    // Gives the control's widget the keyboard focus without telling the model again.
    void focusWidgetOf(ui::Control& control);
    // Applies batched list and grid changes now.
    void flush();
    // Re-reads every model into its widget.
    void refreshAll();
    // The control whose user action is running now, or nullptr.
    ui::Control* acting() const { return acting_; }

signals:
    // A list or grid has its columns laid out anew (after a reset or a change of columns).
    void listLaidOut(QAbstractItemView* view);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Binding {
        ui::Control* control = nullptr;
        QPointer<QWidget> widget;
        int listenerId = 0;
        ListViewModel* listModel = nullptr;
        FlexGridModel* gridModel = nullptr;
        bool labelHasBuddy = false;
        Qt::FocusPolicy focusPolicy = Qt::NoFocus;
    };

    void bind(ui::Control& control);
    void modelChanged(Binding& b, ui::Change change, int row, int col);
    void refresh(Binding& b);
    void refreshCurrent(Binding& b);
    void applyColumnWidths(Binding& b);
    void applyEnabled(Binding& b);
    // Runs a user action on the models unless the change came from them; then re-reads the
    // control (a handler may have refused or changed what the widget shows).
    template <class F>
    void user(Binding& b, F&& action);
    bool formKey(QEvent* event);

    // What the binder does per kind (BinderKinds.cpp): the widget class that shows it, how
    // the widget's signals reach the model, how it shows the model, and what it does with a
    // key press and with other events (the mouse). A null hook: nothing of the kind's own
    // (a key goes to the form).
    struct KindBinding {
        bool (*fits)(const QWidget*);
        void (Binder::*connect)(Binding&) = nullptr;
        void (Binder::*show)(Binding&) = nullptr;
        bool (Binder::*key)(Binding&, QEvent*) = nullptr;
        bool (Binder::*mouse)(Binding&, QEvent*) = nullptr;
    };
    // nullptr for the menus, which the toolkit pops up.
    static const KindBinding* kindBinding(ui::Kind kind);

    void connectLabel(Binding& b);
    void connectButton(Binding& b);
    void connectTextBox(Binding& b);
    void connectCombo(Binding& b);
    void connectCheckBox(Binding& b);
    void connectOption(Binding& b);
    void connectDate(Binding& b);
    void connectList(Binding& b);
    void connectGrid(Binding& b);
    void showLabel(Binding& b);
    void showCaption(Binding& b);
    void showTextBox(Binding& b);
    void showCombo(Binding& b);
    void showCheckBox(Binding& b);
    void showOption(Binding& b);
    void showDate(Binding& b);
    // BinderKeys.cpp
    bool buttonKey(Binding& b, QEvent* event);
    bool textBoxKey(Binding& b, QEvent* event);
    bool comboKey(Binding& b, QEvent* event);
    bool toggleKey(Binding& b, QEvent* event);
    bool dateKey(Binding& b, QEvent* event);
    bool listKey(Binding& b, QEvent* event);
    bool gridKey(Binding& b, QEvent* event);
    bool comboMouse(Binding& b, QEvent* event);
    bool listMouse(Binding& b, QEvent* event);
    bool gridMouse(Binding& b, QEvent* event);
    void focusIn(QWidget* now);
    Binding* bindingOf(const ui::Control& control) const;

    ui::Form& form_;
    QWidget* root_;
    std::vector<std::unique_ptr<Binding>> bindings_;
    std::map<const QObject*, Binding*> byWidget_;  // widgets and their inner widgets
    int fromModel_ = 0;                            // > 0 while a model change is shown
    bool detached_ = false;
    ui::Control* acting_ = nullptr;
};

// Maps a Qt key to the classic key code (0 when there is none).
int classicKeyCode(int qtKey);

}  // namespace qtui

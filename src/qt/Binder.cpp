#include "qt/Binder.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QGroupBox>
#include <QLineEdit>
#include <QTableView>
#include <QTreeView>
#include <algorithm>

#include "qt/BinderSupport.h"
#include "qt/ItemLook.h"
#include "qt/ItemModels.h"
#include "qt/QtToolkit.h"

namespace qtui {

using namespace binder;

Binder::Binder(ui::Form& form, QWidget* root) : QObject(root), form_(form), root_(root) {
    for (ui::Control* c : form_.controls()) bind(*c);

    // The classic tab order is the controls' layout order.
    QWidget* previous = nullptr;
    for (auto& b : bindings_) {
        QWidget* w = b->widget;
        if (w == nullptr || !(w->focusPolicy() & Qt::TabFocus)) continue;
        if (previous != nullptr) QWidget::setTabOrder(previous, w);
        previous = w;
    }
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { focusIn(now); });
    refreshAll();
}

Binder::~Binder() { detach(); }

void Binder::detach() {
    if (detached_) return;
    detached_ = true;
    for (auto& b : bindings_) {
        if (b->listenerId != 0) b->control->removeListener(b->listenerId);
        b->listenerId = 0;
        // The views must not read a list that goes with its form.
        if (auto* view = qobject_cast<QAbstractItemView*>(b->widget.data());
            view != nullptr && (b->listModel != nullptr || b->gridModel != nullptr))
            view->setModel(nullptr);
    }
}

Binder::Binding* Binder::bindingOf(const ui::Control& control) const {
    for (const auto& b : bindings_)
        if (b->control == &control) return b.get();
    return nullptr;
}

QWidget* Binder::widgetOf(const ui::Control& control) const {
    const Binding* b = bindingOf(control);
    return b == nullptr ? nullptr : b->widget.data();
}

ui::Control* Binder::controlOf(QWidget* widget) const {
    for (QObject* o = widget; o != nullptr && o != root_; o = o->parent()) {
        auto it = byWidget_.find(o);
        if (it != byWidget_.end()) return it->second->control;
    }
    return nullptr;
}

QStringList Binder::unboundControls() const {
    QStringList out;
    for (const auto& b : bindings_)
        if (b->widget == nullptr) out << qs(b->control->name());
    return out;
}

void Binder::bind(ui::Control& control) {
    auto b = std::make_unique<Binding>();
    b->control = &control;
    const KindBinding* kind = kindBinding(control.kind());
    if (kind == nullptr) return;  // popped up by the toolkit

    QWidget* w = root_->findChild<QWidget*>(qs(control.name()));
    const bool fits = w != nullptr && kind->fits(w);
    if (fits) b->widget = w;
    Binding& ref = *b;
    bindings_.push_back(std::move(b));
    if (!fits) return;

    ref.focusPolicy = w->focusPolicy();
    byWidget_[w] = &ref;
    w->installEventFilter(this);
    if (kind->connect != nullptr) (this->*kind->connect)(ref);
    ref.listenerId = control.addListener([this, &ref](ui::Control&, ui::Change change, int row, int col) {
        modelChanged(ref, change, row, col);
    });
}

void Binder::modelChanged(Binding& b, ui::Change change, int row, int col) {
    if (detached_ || b.widget == nullptr) return;
    FromModel guard(fromModel_);
    if (b.listModel != nullptr || b.gridModel != nullptr) {
        if (b.listModel != nullptr) b.listModel->modelChanged(change, row, col);
        if (b.gridModel != nullptr) b.gridModel->modelChanged(change, row, col);
        const bool pending =
            b.listModel != nullptr ? b.listModel->resetPending() : b.gridModel->resetPending();
        if (change == ui::Change::Property) {
            refresh(b);
            // EnsureVisible on a list, TopRow on a grid.
            if (auto* tree = qobject_cast<QTreeView*>(b.widget.data());
                tree != nullptr && row >= 1 && !pending)
                tree->scrollTo(b.listModel->index(row - 1, 0));
            if (b.gridModel != nullptr && row >= 0 && !pending) refreshCurrent(b);
        }
        if (change == ui::Change::Selection && !pending) refreshCurrent(b);
        if (change == ui::Change::Columns && !pending) applyColumnWidths(b);
        return;
    }
    refresh(b);
    if (auto* edit = qobject_cast<QLineEdit*>(b.widget.data());
        edit != nullptr && (change == ui::Change::Text || change == ui::Change::Selection)) {
        auto& model = static_cast<ui::TextBox&>(*b.control);
        const int start = toWidgetPos(model.text(), model.selStart());
        const int end = toWidgetPos(model.text(), model.selStart() + model.selLength());
        if (end > start) {
            edit->setSelection(start, end - start);
        } else {
            edit->setCursorPosition(start);
        }
    }
}

void Binder::refreshAll() {
    FromModel guard(fromModel_);
    for (auto& b : bindings_) {
        if (b->widget == nullptr) continue;
        refresh(*b);
        if (b->listModel != nullptr || b->gridModel != nullptr) refreshCurrent(*b);
    }
    root_->setWindowTitle(qs(form_.caption()));
}

void Binder::refresh(Binding& b) {
    QWidget* w = b.widget;
    if (w == nullptr || detached_) return;
    FromModel guard(fromModel_);
    ui::Control& c = *b.control;

    applyEnabled(b);
    if (w->isHidden() == c.visible()) w->setVisible(c.visible());
    // The model's tooltip, else the one the window gives the widget (a shortcut, a button's purpose).
    const QString tip = c.toolTipText().empty() ? w->property("lookToolTip").toString() : qs(c.toolTipText());
    if (w->toolTip() != tip) w->setToolTip(tip);
    if (b.focusPolicy & Qt::TabFocus) w->setFocusPolicy(c.tabStop() ? b.focusPolicy : Qt::ClickFocus);

    const KindBinding* kind = kindBinding(c.kind());
    if (kind != nullptr && kind->show != nullptr) (this->*kind->show)(b);
}

void Binder::applyColumnWidths(Binding& b) {
    if (auto* tree = qobject_cast<QTreeView*>(b.widget.data()); tree != nullptr && b.listModel != nullptr) {
        auto& model = static_cast<ui::ListView&>(*b.control);
        for (int col = 0; col < model.columnCount() && col < b.listModel->columnCount(); ++col) {
            const int width = model.columnWidth(col);
            // A column laid out with no width is the list's hidden key column.
            tree->setColumnHidden(col, width <= 0);
            if (width <= 0) continue;
            // The laid-out width, widened so that the header and the rows in sight show whole
            // (the view measures only the rows in sight, so a long list costs nothing more).
            tree->resizeColumnToContents(col);
            tree->setColumnWidth(col, std::max({24, twipsToPixels(width), tree->columnWidth(col)}));
        }
    } else if (auto* table = qobject_cast<QTableView*>(b.widget.data());
               table != nullptr && b.gridModel != nullptr) {
        auto& model = static_cast<ui::FlexGrid&>(*b.control);
        for (int col = 0; col < model.cols() && col < b.gridModel->columnCount(); ++col) {
            const int width = model.colWidth(col);
            table->setColumnHidden(col, width == 0);
            if (width > 0) table->setColumnWidth(col, std::max(24, twipsToPixels(width)));
        }
    }
    if (auto* view = qobject_cast<QAbstractItemView*>(b.widget.data())) emit listLaidOut(view);
}

namespace {

bool holdsList(const QWidget* w) {
    return qobject_cast<const QAbstractItemView*>(w) != nullptr ||
           w->findChild<QAbstractItemView*>() != nullptr;
}

}  // namespace

// A disabled list in Qt neither scrolls nor selects, and greys its text: a read-only entry
// could not even be read. So lists, and frames that hold lists, stay enabled in Qt; every
// other widget is enabled as its control and the control's frames are. The models ignore
// whatever the user does to a control they have disabled.
void Binder::applyEnabled(Binding& b) {
    auto enabledWithin = [](const ui::Control& c) {
        for (const ui::Control* p = &c; p != nullptr; p = p->container())
            if (!p->enabled()) return false;
        return true;
    };
    auto apply = [&](Binding& one) {
        if (one.widget == nullptr) return;
        one.widget->setEnabled(holdsList(one.widget) || enabledWithin(*one.control));
    };
    apply(b);
    if (qobject_cast<QGroupBox*>(b.widget.data()) == nullptr) return;
    for (auto& other : bindings_)
        for (const ui::Control* p = other->control->container(); p != nullptr; p = p->container())
            if (p == b.control) {
                apply(*other);
                break;
            }
}

void Binder::refreshCurrent(Binding& b) {
    FromModel guard(fromModel_);
    if (auto* tree = qobject_cast<QTreeView*>(b.widget.data()); tree != nullptr && b.listModel != nullptr) {
        auto& model = static_cast<ui::ListView&>(*b.control);
        const int row = model.selectedIndex() - 1;
        if (row < 0 || row >= b.listModel->rowCount()) {
            tree->selectionModel()->clearSelection();
            tree->selectionModel()->setCurrentIndex(QModelIndex(), QItemSelectionModel::NoUpdate);
            return;
        }
        const QModelIndex index = b.listModel->index(row, 0);
        tree->selectionModel()->setCurrentIndex(
            index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        tree->scrollTo(index);
    } else if (auto* table = qobject_cast<QTableView*>(b.widget.data());
               table != nullptr && b.gridModel != nullptr) {
        auto& model = static_cast<ui::FlexGrid&>(*b.control);
        const int fixed = b.gridModel->fixedRows();
        const int row = model.row() - fixed;
        if (row < 0 || row >= b.gridModel->rowCount() || b.gridModel->columnCount() == 0) {
            table->selectionModel()->clearSelection();
            return;
        }
        const int col = std::clamp(model.col(), 0, b.gridModel->columnCount() - 1);
        const QModelIndex index = b.gridModel->index(row, col);
        table->selectionModel()->setCurrentIndex(
            index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        const int top = model.topRow() - fixed;
        if (top > 0 && top < b.gridModel->rowCount()) {
            table->scrollTo(b.gridModel->index(top, col), QAbstractItemView::PositionAtTop);
        }
        table->scrollTo(index);
    }
}

void Binder::flush() {
    for (auto& b : bindings_) {
        if (b->listModel != nullptr) b->listModel->flush();
        if (b->gridModel != nullptr) b->gridModel->flush();
    }
}

void Binder::focusWidgetOf(ui::Control& control) {
    Binding* b = bindingOf(control);
    if (b == nullptr || b->widget == nullptr || detached_) return;
    QWidget* w = b->widget;
    QWidget* focus = QApplication::focusWidget();
    if (focus != nullptr && controlOf(focus) == &control) return;
    FromModel guard(fromModel_);
    w->setFocus(Qt::OtherFocusReason);
}

void Binder::focusIn(QWidget* now) {
    if (detached_ || fromModel_ > 0 || now == nullptr || !root_->isAncestorOf(now)) return;
    ui::Control* control = controlOf(now);
    if (control == nullptr || control == form_.activeControl()) return;
    Binding* b = bindingOf(*control);
    user(*b, [control] { control->setFocus(); });
}

}  // namespace qtui

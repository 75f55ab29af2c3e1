#pragma once
// The browser's grid in the window: a click on a heading sorts by that column through the
// screen's own sort (its column list and direction buttons, as if the user had chosen them),
// the heading shows the order the rows are in, and a search that finds nothing says so.
#include <QObject>
#include <QString>

class QHeaderView;
class QLineEdit;

namespace browser {
class FrmMaster;
}

namespace qtui {

class FormDialog;

class BrowserGrid : public QObject {
    Q_OBJECT
public:
    BrowserGrid(FormDialog& dialog, browser::FrmMaster& master);
    ~BrowserGrid() override;
    void detach();

private:
    void sortBy(int section);
    void showOrder();
    void searched();

    FormDialog& dialog_;
    browser::FrmMaster& master_;
    QHeaderView* header_ = nullptr;
    QLineEdit* search_ = nullptr;
    int gridListener_ = 0, searchListener_ = 0;
    bool searchPending_ = false;
    bool detached_ = false;
};

}  // namespace qtui

#pragma once
// Plays a script (the script runner's user actions; its expectations are skipped) through
// the Qt toolkit on a timer and saves a picture of the screen after each "# screenshot NAME"
// line: the screenshots of the documentation come from a real run on a real database.
// "widget click NAME" and "widget set NAME TEXT" drive the window's own dialogs.
#include <QObject>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "ui/UserActions.h"

namespace qtui {

class QtToolkit;

class ScreenshotPlayer : public QObject {
    Q_OBJECT
public:
    ScreenshotPlayer(QtToolkit& toolkit, const std::string& scriptFile, std::string outDir);
    ~ScreenshotPlayer() override;
    // Starts playing once the event loop runs (the first form is shown by then).
    void start();
    bool failed() const { return failed_; }

private:
    void step();
    void schedule(int ms);
    void runLine(const std::string& line);
    void runWidgetLine(const std::string& line);
    bool handleMessageBox();
    bool handlePopup();
    void finish();
    void screenshot(const std::string& name);
    void fail(const std::string& why);

    class Host;
    QtToolkit& toolkit_;
    std::unique_ptr<Host> host_;
    std::unique_ptr<ui::UserActions> actions_;
    std::vector<std::string> lines_;
    size_t next_ = 0;
    std::deque<std::string> answers_;
    std::string outDir_;
    bool failed_ = false;
    int closingTicks_ = 0;
};

}  // namespace qtui

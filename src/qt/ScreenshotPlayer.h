#pragma once
// Plays a script (the script runner's commands) through the Qt toolkit on a timer and saves
// a picture of the screen after each "# screenshot NAME" line: the screenshots of the
// documentation come from a real run on a real database.
#include <QObject>
#include <deque>
#include <string>
#include <vector>

namespace ui {
class Control;
class Form;
}  // namespace ui

namespace qtui {

class QtToolkit;

class ScreenshotPlayer : public QObject {
    Q_OBJECT
public:
    ScreenshotPlayer(QtToolkit& toolkit, const std::string& scriptFile, std::string outDir);
    // Starts playing once the event loop runs (the first form is shown by then).
    void start();
    bool failed() const { return failed_; }

private:
    void step();
    void schedule(int ms);
    void runLine(const std::string& line);
    bool handleMessageBox();
    bool handlePopup();
    void finish();
    void screenshot(const std::string& name);
    ui::Control* control(const std::string& name) const;
    void fail(const std::string& why);

    QtToolkit& toolkit_;
    std::vector<std::string> lines_;
    size_t next_ = 0;
    std::deque<std::string> answers_;
    std::string outDir_;
    bool failed_ = false;
    int closingTicks_ = 0;
};

}  // namespace qtui

// The form lifecycle on a small form of the tests' own: QueryUnload and Unload may each
// keep the form, and only a completed unload drops it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ui/Form.h"
#include "ui/Headless.h"

namespace {

using namespace ui;

class SampleForm : public Form {
public:
    explicit SampleForm(Toolkit& tk, std::string name = "frmSample") : Form(tk, std::move(name), "Sample") {}

    std::vector<std::string> events;
    int queryCancel = 0, unloadCancel = 0;
    std::vector<int> queryModes;

    void Form_QueryUnload(int& cancel, int mode) override {
        queryModes.push_back(mode);
        events.push_back("QueryUnload");
        cancel = queryCancel;
    }
    void Form_Unload(int& cancel) override {
        events.push_back("Unload");
        cancel = unloadCancel;
    }
};

TEST(Forms, UnloadRunsQueryUnloadThenUnloadUnlessCancelled) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    int dropped = 0;
    f.unloader = [&](Form&, int) { return ++dropped > 0; };
    tk.formLoaded(f);

    f.queryCancel = 1;
    EXPECT_FALSE(f.unload());
    f.queryCancel = 0;
    f.unloadCancel = 1;
    EXPECT_FALSE(f.unload());
    EXPECT_EQ(dropped, 0);
    EXPECT_EQ(f.events, (std::vector<std::string>{"QueryUnload", "QueryUnload", "Unload"}));

    f.unloadCancel = 0;
    f.userClose();
    EXPECT_EQ(dropped, 1);
    EXPECT_EQ(f.queryModes.back(), vbFormControlMenu);
    EXPECT_EQ(f.queryModes.front(), vbFormCode);
    EXPECT_TRUE(tk.loadedForms().empty());
    EXPECT_EQ(tk.transcript.back(), "UNLOAD frmSample");
}

}  // namespace

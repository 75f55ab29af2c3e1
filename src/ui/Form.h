#pragma once
// A screen: its controls in layout order (the tab order) and its lifecycle events. The
// owner of the screens (the module) creates a form, runs Form_Load, and unloads it through
// unload(), which raises Form_QueryUnload (may cancel) and Form_Unload.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ui/Controls.h"
#include "ui/Toolkit.h"

namespace ui {

// Why a form is being unloaded (the classic UnloadMode).
inline constexpr int vbFormControlMenu = 0, vbFormCode = 1;

class Form {
public:
    Form(Toolkit& toolkit, std::string name, std::string caption);
    virtual ~Form();
    Form(const Form&) = delete;
    Form& operator=(const Form&) = delete;

    const std::string& name() const { return name_; }
    const std::string& caption() const { return caption_; }
    void setCaption(std::string v);
    Toolkit& toolkit() const { return toolkit_; }

    // Controls in layout order.
    const std::vector<Control*>& controls() const { return order_; }
    Control* find(const std::string& name) const;  // nullptr when absent
    template <class T, class... A>
    T& add(A&&... args) {
        auto c = std::make_unique<T>(*this, std::forward<A>(args)...);
        T& ref = *c;
        order_.push_back(c.get());
        owned_.push_back(std::move(c));
        return ref;
    }

    Control* activeControl() const { return active_; }
    void setActiveControl(Control* c) { active_ = c; }
    // The next reachable control with a tab stop after the active one (wrapping).
    Control* nextInTabOrder() const;

    bool keyPreview = false;
    std::string messageTitle;  // title of the boxes that the controls show on their own
    std::string marker;        // "Loaded" once activated
    bool loaded = false;
    bool shownModal = false;

    // Lifecycle and form-level events, overridden by the screens.
    virtual void Form_Load() {}
    virtual void Form_Activate() {}
    virtual void Form_QueryUnload(int& cancel, int unloadMode) {
        (void)cancel;
        (void)unloadMode;
    }
    virtual void Form_Unload(int& cancel) { (void)cancel; }
    virtual void Form_KeyPress(int16_t& keyAscii) { (void)keyAscii; }

    // Unloads the form: QueryUnload then Unload, either may cancel; true when unloaded.
    // Set by the owner so that the owner drops its instance.
    std::function<bool(Form&, int unloadMode)> unloader;
    bool unload(int unloadMode = vbFormCode);
    // The user closes the form from its window frame.
    void userClose();
    // A key pressed on the form itself (with keyPreview the form sees it first).
    void userKeyPress(int16_t keyAscii);

    // Runs a user action: an uncaught error stops here and the toolkit shows it.
    void userEvent(const std::function<void()>& fn);

private:
    Toolkit& toolkit_;
    std::string name_, caption_;
    std::vector<Control*> order_;
    std::vector<std::unique_ptr<Control>> owned_;
    Control* active_ = nullptr;
};

}  // namespace ui

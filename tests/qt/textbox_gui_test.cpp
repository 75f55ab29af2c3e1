// Characters beyond ASCII typed into a window go through the text box model like any key, and
// Backspace and Delete take whole characters off the model and the widget alike.
#include <QLineEdit>

#include "common/Utf8.h"
#include "gui_support.h"
#include "linking/frmcancell.h"

namespace guitest {
namespace {

TEST_F(GuiTest, ArabicAndEmojiAreTypedAndErasedWholeInTheWindow) {
    module->FrmMaster();
    auto& cancelForm = module->frmcancell();
    showModal(cancelForm, [&](qtui::FormDialog& d) {
        ASSERT_TRUE(QTest::qWaitForWindowActive(&d));
        auto* reason = widget<QLineEdit>(d, "txtreason");
        reason->setFocus();
        // One key event per character, as a keyboard layout sends them (the emoji is one
        // event carrying two UTF-16 units).
        for (const char* typed : {"م", "ر", "ح", "ب", "ا", " ", "😀", "'"})
            QTest::sendKeyEvent(QTest::Click, reason, Qt::Key_unknown, QString::fromUtf8(typed),
                                Qt::NoModifier);
        // The reason's key filter still sees every key: it drops the apostrophe.
        EXPECT_EQ(cancelForm.txtreason.text(), "مرحبا 😀");
        QTest::keyClick(reason, Qt::Key_Backspace);
        EXPECT_EQ(cancelForm.txtreason.text(), "مرحبا ");
        QTest::keyClick(reason, Qt::Key_Home);
        QTest::keyClick(reason, Qt::Key_Delete);
        EXPECT_EQ(cancelForm.txtreason.text(), "رحبا ");
        reason->setCursorPosition(1);  // after the first letter: the model follows the widget
        QTest::keyClick(reason, Qt::Key_Backspace);
        EXPECT_EQ(cancelForm.txtreason.text(), "حبا ");
        EXPECT_EQ(reason->text().toStdString(), cancelForm.txtreason.text());
        EXPECT_EQ(common::validUtf8(cancelForm.txtreason.text()), cancelForm.txtreason.text());
        d.markUnloaded();
    });
}

}  // namespace
}  // namespace guitest

#pragma once
// The Designer layout of each screen, by the form's name.
#include <QDialog>
#include <string>

namespace qtui {

// Builds the form's widgets into the dialog; false for a form without a layout.
bool setupLayout(const std::string& formName, QDialog* dialog);

}  // namespace qtui

#pragma once
// The component for hosts that load it from a shared library: a C factory around
// qorPayrollAccounts. The host brings its own toolkit (its windows and message boxes);
// the handle owns the component's module and its screens.
#include <cstdint>

#include "data/Connection.h"
#include "ui/Toolkit.h"

extern "C" {

typedef struct QORPayAccLinkingHandle QORPayAccLinkingHandle;

// A new component shown through the toolkit (which must outlive the handle); null without one.
QORPayAccLinkingHandle* QORPayAccLinking_Create(ui::Toolkit* toolkit);
void QORPayAccLinking_Destroy(QORPayAccLinkingHandle* handle);

// adocon: the component shares the host's connection.
void QORPayAccLinking_SetConnection(QORPayAccLinkingHandle* handle, const data::ConnectionPtr* connection);
// For hosts without a connection object of their own: opens an embedded database file.
// Returns 0, or -1 when it cannot be opened (QORPayAccLinking_LastError says why).
int32_t QORPayAccLinking_OpenDatabase(QORPayAccLinkingHandle* handle, const char* path);

void QORPayAccLinking_SetProjectKey(QORPayAccLinkingHandle* handle, const char* key);
void QORPayAccLinking_SetMsgboxTitle(QORPayAccLinkingHandle* handle, const char* title);
void QORPayAccLinking_SetProcessDate(QORPayAccLinkingHandle* handle, const char* date);
void QORPayAccLinking_SetUserID(QORPayAccLinkingHandle* handle, int32_t id);
void QORPayAccLinking_SetCompanyID(QORPayAccLinkingHandle* handle, int32_t id);
void QORPayAccLinking_SetInterfaceID(QORPayAccLinkingHandle* handle, int32_t id);

// Show: returns 0 once the browser has closed (or at once for a wrong key), else the number
// of the error that stopped it (-1 for a failure that carries none).
int32_t QORPayAccLinking_Show(QORPayAccLinkingHandle* handle);
// The description of the last failure of this handle ("" when none).
const char* QORPayAccLinking_LastError(QORPayAccLinkingHandle* handle);

// For hosts without a toolkit of their own: the library's Qt one, on the host's QApplication
// or one made for it; null without a display. The host deletes it after the handle.
ui::Toolkit* QORPayAccLinking_CreateQtToolkit();

}  // extern "C"

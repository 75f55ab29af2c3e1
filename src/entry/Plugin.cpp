#include "entry/Plugin.h"

#include <exception>
#include <string>

#include "data/sqlite/SqliteConnection.h"
#include "entry/Module.h"
#include "entry/qorPayrollAccounts.h"

struct QORPayAccLinkingHandle {
    explicit QORPayAccLinkingHandle(ui::Toolkit& toolkit) : module(toolkit), component(module) {}
    entry::Module module;
    entry::qorPayrollAccounts component;
    std::string lastError;
};

extern "C" {

QORPayAccLinkingHandle* QORPayAccLinking_Create(ui::Toolkit* toolkit) {
    if (!toolkit) return nullptr;
    try {
        return new QORPayAccLinkingHandle(*toolkit);
    } catch (...) {
        return nullptr;
    }
}

void QORPayAccLinking_Destroy(QORPayAccLinkingHandle* handle) { delete handle; }

void QORPayAccLinking_SetConnection(QORPayAccLinkingHandle* handle, const data::ConnectionPtr* connection) {
    if (handle) handle->component.setAdocon(connection ? *connection : data::ConnectionPtr());
}

int32_t QORPayAccLinking_OpenDatabase(QORPayAccLinkingHandle* handle, const char* path) {
    if (!handle || !path) return -1;
    try {
        data::ConnectionPtr c = data::sqlite::open(path);
        data::sqlite::upgrade(*c);  // a database of an older build gets what it lacks
        handle->component.setAdocon(std::move(c));
        handle->lastError.clear();
        return 0;
    } catch (const std::exception& e) {
        handle->lastError = e.what();
        return -1;
    }
}

void QORPayAccLinking_SetProjectKey(QORPayAccLinkingHandle* handle, const char* key) {
    if (handle) handle->component.strProjectKey = key ? key : "";
}
void QORPayAccLinking_SetMsgboxTitle(QORPayAccLinkingHandle* handle, const char* title) {
    if (handle) handle->component.MsgboxTitle = title ? title : "";
}
void QORPayAccLinking_SetProcessDate(QORPayAccLinkingHandle* handle, const char* date) {
    if (handle) handle->component.ProcessDate = date ? date : "";
}
void QORPayAccLinking_SetUserID(QORPayAccLinkingHandle* handle, int32_t id) {
    if (handle) handle->component.intUserID = id;
}
void QORPayAccLinking_SetCompanyID(QORPayAccLinkingHandle* handle, int32_t id) {
    if (handle) handle->component.intCompanyID = id;
}
void QORPayAccLinking_SetInterfaceID(QORPayAccLinkingHandle* handle, int32_t id) {
    if (handle) handle->component.intInterfaceID = id;
}

int32_t QORPayAccLinking_Show(QORPayAccLinkingHandle* handle) {
    if (!handle) return -1;
    handle->lastError.clear();
    int32_t status = 0;
    // Nothing may cross the C boundary: a failure becomes the call's result.
    try {
        handle->component.Show();
    } catch (const common::Error& e) {
        handle->lastError = e.description();
        status = e.number() != 0 ? e.number() : -1;
    } catch (const std::exception& e) {
        handle->lastError = e.what();
        status = -1;
    }
    handle->module.collect();
    return status;
}

const char* QORPayAccLinking_LastError(QORPayAccLinkingHandle* handle) {
    return handle ? handle->lastError.c_str() : "";
}

}  // extern "C"

#include "driver_library.h"

#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

namespace {

class Resolver {
public:
    explicit Resolver(void *library) : m_library(library) {}

    template <typename Function>
    void find(const char *name, Function *function) {
        // POSIX lets the address of a function come as a void pointer.
        *function = reinterpret_cast<Function>(::dlsym(m_library, name));
        if (*function == nullptr && m_missing.isEmpty())
            m_missing = name;
    }

    const QString &missing() const { return m_missing; }

private:
    void *m_library;
    QString m_missing; // the first name that is not there
};

QString findMissing(void *library, Driver *driver) {
    Resolver resolver(library);
    resolver.find("SetComInfo", &driver->SetComInfo);
    resolver.find("RegistCallBackFuncIntf", &driver->RegistCallBackFuncIntf);
    resolver.find("FlashLocalRegister", &driver->FlashLocalRegister);
    resolver.find("QueryFinishFlag", &driver->QueryFinishFlag);
    resolver.find("ComCommunication", &driver->ComCommunication);
    resolver.find("DataCom", &driver->DataCom);
    resolver.find("EnableEthernet", &driver->EnableEthernet);
    resolver.find("EnCommStation", &driver->EnCommStation);
    resolver.find("PLCAddressChangeIntef", &driver->PLCAddressChangeIntef);
    resolver.find("AddListReadVar", &driver->AddListReadVar);
    resolver.find("ReCreatReadVarList", &driver->ReCreatReadVarList);
    resolver.find("AddListOnceReadVar", &driver->AddListOnceReadVar);
    resolver.find("AddListWriteVar", &driver->AddListWriteVar);
    resolver.find("SetRegisterData", &driver->SetRegisterData);
    resolver.find("GetRegisterData", &driver->GetRegisterData);
    return resolver.missing();
}

} // namespace

QString loadDriver(const QString &path, Driver *driver) {
    // A bare name is a file here first; dlopen alone would look in the system's folders only.
    const QFileInfo file(path);
    const QString found = file.exists() ? file.absoluteFilePath() : path;
    void *library = ::dlopen(QFile::encodeName(found).constData(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        return ::dlerror();
    const QString missing = findMissing(library, driver);
    return missing.isEmpty() ? QString() : path + ": has no " + missing;
}

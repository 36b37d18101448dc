#include "panel/line/driver_library.h"

#include <QCoreApplication>
#include <QDir>
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

} // namespace

QString findEntryPoints(void *library, Driver *driver) {
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

QString defaultLibrary() {
    const QDir program(QCoreApplication::applicationDirPath());
    for (const char *beside : {"../libmodbus_rtu_driver.so", "../lib/libmodbus_rtu_driver.so"}) {
        const QFileInfo file(program.filePath(beside));
        if (file.exists())
            return file.canonicalFilePath();
    }
    return "libmodbus_rtu_driver.so.1";
}

// The shared library as a panel meets it: its names, its links, and two real loads side by side.
#include "driver/Communication_Protocol.h"
#include "driver_fixture.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <dlfcn.h>
#include <set>

namespace {

std::vector<std::string> linesOf(const std::string &command) {
    std::vector<std::string> lines;
    FILE *pipe = popen(command.c_str(), "r"); // NOLINT(cert-env33-c): the tools of the build
    QFile output;
    if (pipe != nullptr && output.open(pipe, QIODevice::ReadOnly)) {
        for (const QByteArray &line : output.readAll().split('\n')) {
            lines.push_back(line.toStdString());
        }
        output.close();
    }
    EXPECT_EQ(pipe == nullptr ? -1 : pclose(pipe), 0) << command << " does not work here";
    return lines;
}

TEST(Library, ExportsExactlyItsNames) {
    const std::set<std::string> names{"SetComInfo",
                                      "RegistCallBackFuncIntf",
                                      "FlashLocalRegister",
                                      "QueryFinishFlag",
                                      "ComCommunication",
                                      "DataCom",
                                      "EnableEthernet",
                                      "EnCommStation",
                                      "PLCAddressChangeIntef",
                                      "AddListReadVar",
                                      "ReCreatReadVarList",
                                      "AddListOnceReadVar",
                                      "AddListWriteVar",
                                      "SetRegisterData",
                                      "GetRegisterData",
                                      "PLC_driver",
                                      "DataStorage",
                                      "LB",
                                      "LW",
                                      "RWI",
                                      "getPlcReg(int)",
                                      "getOffsetAddress(int)",
                                      "DealDataOfLocalArea(QByteArray*, int)",
                                      "DealDataOfRemoteArea(QByteArray*, int)",
                                      "GetDriverReturnValue(int)",
                                      "SwitchErrorReturn(int)",
                                      "passRetValue(RW_VAR const&, RW_VAR&)",
                                      "Ethernetcontains(int)",
                                      "StringAddressToInt(int, QString)",
                                      "updateRwVar(RW_VAR*)",
                                      "Bubble_Sort(QList<RW_VAR>*)",
                                      "BitVarReCreat(QList<RW_VAR>*, int)",
                                      "WhetherGroup(int, int, RW_VAR*, QList<RW_VAR>*)",
                                      "CalCRC(unsigned char*, unsigned short)",
                                      "CalSUM(unsigned char*, unsigned short)",
                                      "CalLRC(unsigned char*, unsigned short)",
                                      "CalXOR(unsigned char*, unsigned short)",
                                      "DigitalToASCII(int)",
                                      "ASCIIToDigital(int)",
                                      "ReadAnalog(RW_VAR*)",
                                      "ReadRegister(RW_VAR*)",
                                      "CheckGetData(QByteArray*, int)",
                                      "WriteAnalog(RW_VAR*)",
                                      "WriteRegister(RW_VAR*)",
                                      "SpecialRegisterSave(QByteArray*)",
                                      "SpecialRegisterSaveByte(QByteArray*)",
                                      "SaveToLocalDataErea(QByteArray*)",
                                      "Remote_ReadVar(RW_VAR*)",
                                      "Remote_WriteVar(RW_VAR*)",
                                      "checkTheStorage(ControlInformationM&)",
                                      "WriteDataToLocal(RW_VAR*)"};
    std::set<std::string> found;
    for (const std::string &line : linesOf(NM " -D -C --defined-only " LIBRARY)) {
        const size_t type = line.find(' ') + 1; // "address T name"
        // Weak and unique names are templates of Qt and the standard library; names that start with
        // "_" are the linker's and the sanitizers'.
        const bool strong = type + 2 < line.size() && std::string("TBDR").find(line[type]) < 4;
        if (strong && line[type + 2] != '_') {
            found.insert(line.substr(type + 2));
        }
    }
    EXPECT_EQ(found, names);
}

TEST(Library, IsBoundToItsOwnNamesAndVersioned) {
    std::string dynamic;
    for (const std::string &line : linesOf(READELF " -d -W " LIBRARY)) {
        dynamic += line + "\n";
    }
    EXPECT_NE(dynamic.find("SONAME) "), std::string::npos) << dynamic;
    EXPECT_NE(dynamic.find("[libmodbus_rtu_driver.so.1]"), std::string::npos) << dynamic;
    EXPECT_NE(dynamic.find("SYMBOLIC"), std::string::npos) << dynamic;
}

// One load of the library, from a file of its own.
struct Load {
    explicit Load(const QString &path) : handle(nullptr) {
        EXPECT_TRUE(QFile::copy(LIBRARY, path));
        handle = dlopen(path.toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(handle, nullptr) << dlerror(); // NOLINT(concurrency-mt-unsafe)
    }

    template <typename Type>
    Type *find(const char *name) const {
        void *address = dlsym(handle, name);
        EXPECT_NE(address, nullptr) << name;
        return reinterpret_cast<Type *>(address);
    }

    void *handle;
};

TEST(Library, TwoLoadsKnowNothingOfEachOther) {
    const QTemporaryDir folder;
    const Load first(folder.filePath("first.so"));
    const Load second(folder.filePath("second.so"));
    ASSERT_TRUE(first.handle != nullptr && second.handle != nullptr);
    auto &driver = *first.find<Communication_Protocol>("PLC_driver");
    EXPECT_EQ(driver.comInfo, nullptr);
    EXPECT_TRUE(driver.readList.isEmpty() && driver.writeList.isEmpty() &&
                driver.onceReadList.isEmpty() && driver.spareList.isEmpty() &&
                driver.requestList.isEmpty() && driver.extendList.isEmpty());
    EXPECT_TRUE(driver.finishCallback == nullptr && driver.failCallback == nullptr);
    EXPECT_TRUE(driver.disabledStations.isEmpty() && driver.currentVar.addressText.isEmpty());
    EXPECT_TRUE(driver.currentVar.result == 0 && driver.currentVar.value.isEmpty());
    EXPECT_EQ(driver.listKind, 100);
    EXPECT_TRUE(driver.writeBurst == 0 && driver.onceBurst == 0 && driver.passCount == 0);
    EXPECT_FALSE(driver.commFailed || driver.spareFlag);
    for (QMutex *mutex :
         {&driver.listMutex, &driver.imageMutex, &driver.stationMutex, &driver.storageMutex}) {
        EXPECT_FALSE(mutex->isRecursive());
        EXPECT_TRUE(mutex->tryLock());
        mutex->unlock();
    }
    EXPECT_EQ(first.find<decltype(QueryFinishFlag)>("QueryFinishFlag")(), 1);

    ComInfo info{};
    info.useVarStation = 1;
    first.find<decltype(SetComInfo)>("SetComInfo")(&info);
    first.find<decltype(EnCommStation)>("EnCommStation")(5, 0);
    int memory[3];
    first.find<decltype(FlashLocalRegister)>("FlashLocalRegister")(memory, memory + 1, memory + 2);
    QByteArray answer;
    first.find<decltype(GetRegisterData)>("GetRegisterData")(nullptr, 7, "1", 4, &answer, 2);
    EXPECT_EQ(hex(answer), "00 00 00 00");
    EXPECT_EQ(*first.find<void *>("LB"), memory);
    EXPECT_EQ(*first.find<void *>("LW"), memory + 1);
    EXPECT_EQ(*first.find<void *>("RWI"), memory + 2);

    using Image = QMap<int, QMap<int, QByteArray>>;
    EXPECT_EQ(first.find<Image>("DataStorage")->value(4).value(7).size(), 6);
    EXPECT_TRUE(second.find<Image>("DataStorage")->isEmpty() && DataStorage.isEmpty());
    auto &other = *second.find<Communication_Protocol>("PLC_driver");
    EXPECT_TRUE(driver.comInfo == &info && driver.disabledStations.contains(5));
    for (Communication_Protocol *untouched : {&other, &PLC_driver}) {
        EXPECT_TRUE(untouched->comInfo == nullptr && untouched->disabledStations.isEmpty());
    }
    EXPECT_EQ(*second.find<void *>("LB"), nullptr);
    EXPECT_EQ(dlclose(first.handle), 0);
    EXPECT_EQ(dlclose(second.handle), 0);
}

} // namespace

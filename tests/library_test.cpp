// The shared library as a panel meets it: its names, its links, and two real loads side by side.
#include "driver_fixture.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <dlfcn.h>

namespace {

QString outputOf(const char *command) {
    FILE *pipe = popen(command, "r"); // NOLINT(cert-env33-c): the tools of the build
    QFile file;
    EXPECT_TRUE(pipe != nullptr && file.open(pipe, QIODevice::ReadOnly)) << command;
    QString output = file.readAll();
    EXPECT_EQ(pipe == nullptr ? -1 : pclose(pipe), 0) << command << " does not work here";
    return output;
}

TEST(Library, ExportsExactlyItsNames) {
    QStringList names = QString(R"(SetComInfo;RegistCallBackFuncIntf;FlashLocalRegister
QueryFinishFlag;ComCommunication;DataCom;EnableEthernet;EnCommStation;PLCAddressChangeIntef
AddListReadVar;ReCreatReadVarList;AddListOnceReadVar;AddListWriteVar;SetRegisterData;GetRegisterData
PLC_driver;DataStorage;LB;LW;RWI;getPlcReg(int);getOffsetAddress(int);GetDriverReturnValue(int)
DealDataOfLocalArea(QByteArray*, int);DealDataOfRemoteArea(QByteArray*, int);SwitchErrorReturn(int)
passRetValue(RW_VAR const&, RW_VAR&);Ethernetcontains(int);StringAddressToInt(int, QString)
updateRwVar(RW_VAR*);Bubble_Sort(QList<RW_VAR>*);BitVarReCreat(QList<RW_VAR>*, int)
WhetherGroup(int, int, RW_VAR*, QList<RW_VAR>*);CalCRC(unsigned char*, unsigned short)
CalSUM(unsigned char*, unsigned short);CalLRC(unsigned char*, unsigned short)
CalXOR(unsigned char*, unsigned short);DigitalToASCII(int);ASCIIToDigital(int);ReadAnalog(RW_VAR*)
ReadRegister(RW_VAR*);CheckGetData(QByteArray*, int);WriteAnalog(RW_VAR*);WriteRegister(RW_VAR*)
SpecialRegisterSave(QByteArray*);SpecialRegisterSaveByte(QByteArray*);SaveToLocalDataErea(QByteArray*)
Remote_ReadVar(RW_VAR*);Remote_WriteVar(RW_VAR*);checkTheStorage(ControlInformationM&)
WriteDataToLocal(RW_VAR*))")
                            .replace('\n', ';')
                            .split(';');
    // Weak and unique names are templates of Qt and the standard library; names that start with "_"
    // are the linker's and the sanitizers'.
    const QRegularExpression strong("^[0-9a-f]+ [A-TX-Z] ([^_].*)$",
                                    QRegularExpression::MultilineOption);
    QStringList found;
    for (auto match = strong.globalMatch(outputOf(NM " -D -C --defined-only " LIBRARY));
         match.hasNext();) {
        found << match.next().captured(1);
    }
    names.sort();
    found.sort();
    EXPECT_EQ(found.join('\n'), names.join('\n'));
}

TEST(Library, IsBoundToItsOwnNamesAndVersioned) {
    const QString dynamic = outputOf(READELF " -d -W " LIBRARY);
    const QRegularExpression soname(R"(\(SONAME\).*\[libmodbus_rtu_driver\.so\.1\])");
    EXPECT_TRUE(dynamic.contains(soname)) << dynamic.toStdString();
    EXPECT_TRUE(dynamic.contains("SYMBOLIC")) << dynamic.toStdString();
}

// One load of the library, from a file of its own.
struct Load {
    explicit Load(const QString &path) : handle(nullptr) {
        EXPECT_TRUE(QFile::copy(LIBRARY, path));
        handle = dlopen(path.toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(handle, nullptr) << dlerror();
    }

    template <typename Type>
    Type &find(const char *name) const {
        void *address = dlsym(handle, name);
        EXPECT_NE(address, nullptr) << name;
        return *reinterpret_cast<Type *>(address);
    }

    void *handle;
};

void expectFresh(Communication_Protocol &driver) {
    EXPECT_TRUE(driver.comInfo == nullptr && driver.finishCallback == nullptr);
    EXPECT_TRUE(driver.failCallback == nullptr && driver.disabledStations.isEmpty());
    EXPECT_TRUE(driver.readList.isEmpty() && driver.writeList.isEmpty());
    EXPECT_TRUE(driver.onceReadList.isEmpty() && driver.spareList.isEmpty());
    EXPECT_TRUE(driver.requestList.isEmpty() && driver.extendList.isEmpty());
    EXPECT_TRUE(driver.currentVar.result == 0 && driver.currentVar.addressText.isEmpty());
    EXPECT_TRUE(driver.currentVar.itemId == 0 && driver.currentVar.value.isEmpty());
    EXPECT_TRUE(driver.listKind == 100 && driver.passCount == 0);
    EXPECT_TRUE(driver.writeBurst == 0 && driver.onceBurst == 0);
    EXPECT_FALSE(driver.commFailed || driver.spareFlag);
    for (QMutex *mutex :
         {&driver.listMutex, &driver.imageMutex, &driver.stationMutex, &driver.storageMutex}) {
        EXPECT_TRUE(!mutex->isRecursive() && mutex->tryLock());
        mutex->unlock();
    }
}

TEST(Library, TwoLoadsKnowNothingOfEachOther) {
    using Image = QMap<int, QMap<int, QByteArray>>;
    const QTemporaryDir folder;
    const Load first(folder.filePath("first.so"));
    const Load second(folder.filePath("second.so"));
    ASSERT_TRUE(first.handle != nullptr && second.handle != nullptr);
    auto &driver = first.find<Communication_Protocol>("PLC_driver");
    expectFresh(driver);
    ComInfo info{};
    info.useVarStation = 1;
    int memory[3];
    QByteArray answer;
    first.find<decltype(SetComInfo)>("SetComInfo")(&info);
    first.find<decltype(EnCommStation)>("EnCommStation")(5, 0);
    first.find<decltype(FlashLocalRegister)>("FlashLocalRegister")(memory, memory + 1, memory + 2);
    first.find<decltype(GetRegisterData)>("GetRegisterData")(nullptr, 7, "1", 4, &answer, 2);
    EXPECT_EQ(hex(answer), "00 00 00 00");
    EXPECT_EQ(first.find<decltype(QueryFinishFlag)>("QueryFinishFlag")(), 1);
    EXPECT_TRUE(driver.comInfo == &info && driver.disabledStations.contains(5));
    EXPECT_EQ(first.find<Image>("DataStorage").value(4).value(7).size(), 6);
    EXPECT_EQ(first.find<void *>("LB"), memory);
    EXPECT_EQ(first.find<void *>("LW"), memory + 1);
    EXPECT_EQ(first.find<void *>("RWI"), memory + 2);
    expectFresh(second.find<Communication_Protocol>("PLC_driver"));
    expectFresh(PLC_driver); // the one this program is linked with
    EXPECT_TRUE(second.find<Image>("DataStorage").isEmpty() && DataStorage.isEmpty());
    EXPECT_EQ(second.find<void *>("LB"), nullptr);
    EXPECT_EQ(dlclose(first.handle), 0);
    EXPECT_EQ(dlclose(second.handle), 0);
}

} // namespace

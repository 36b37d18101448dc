// The shared library as a panel meets it: its names, its links, and what it starts from.
#include "driver_fixture.h"

#include <QFile>
#include <QRegularExpression>

#include <cstdio>

namespace {

QString outputOf(const char *command) {
    FILE *pipe = popen(command, "r"); // NOLINT(cert-env33-c): the tools of the build
    QFile file;
    EXPECT_TRUE(pipe != nullptr && file.open(pipe, QIODevice::ReadOnly)) << command;
    QString output = file.readAll();
    EXPECT_EQ(pipe == nullptr ? -1 : pclose(pipe), 0) << command << " does not work here";
    return output;
}

constexpr const char *Names =
    R"(SetComInfo;RegistCallBackFuncIntf;FlashLocalRegister;QueryFinishFlag;ComCommunication;DataCom
EnableEthernet;EnCommStation;PLCAddressChangeIntef;AddListReadVar;ReCreatReadVarList
AddListOnceReadVar;AddListWriteVar;SetRegisterData;GetRegisterData;PLC_driver;DataStorage;LB;LW;RWI
getPlcReg(int);getOffsetAddress(int);GetDriverReturnValue(int);SwitchErrorReturn(int)
DealDataOfLocalArea(QByteArray*, int);DealDataOfRemoteArea(QByteArray*, int)
passRetValue(RW_VAR const&, RW_VAR&);Ethernetcontains(int);StringAddressToInt(int, QString)
updateRwVar(RW_VAR*);Bubble_Sort(QList<RW_VAR>*);BitVarReCreat(QList<RW_VAR>*, int)
WhetherGroup(int, int, RW_VAR*, QList<RW_VAR>*);CalCRC(unsigned char*, unsigned short)
CalSUM(unsigned char*, unsigned short);CalLRC(unsigned char*, unsigned short)
CalXOR(unsigned char*, unsigned short);DigitalToASCII(int);ASCIIToDigital(int);ReadAnalog(RW_VAR*)
ReadRegister(RW_VAR*);CheckGetData(QByteArray*, int);WriteAnalog(RW_VAR*);WriteRegister(RW_VAR*)
SpecialRegisterSave(QByteArray*);SpecialRegisterSaveByte(QByteArray*)
SaveToLocalDataErea(QByteArray*);Remote_ReadVar(RW_VAR*);Remote_WriteVar(RW_VAR*)
checkTheStorage(ControlInformationM&);WriteDataToLocal(RW_VAR*))";

TEST(Library, ExportsExactlyItsNames) {
    QStringList names = QString(Names).replace('\n', ';').split(';');
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

TEST(Library, IsFreshWhenItIsLoaded) {
    Communication_Protocol &driver = PLC_driver;
    EXPECT_TRUE(driver.comInfo == nullptr && driver.finishCallback == nullptr);
    EXPECT_TRUE(driver.failCallback == nullptr && driver.disabledStations.isEmpty());
    EXPECT_EQ(fieldsOf(driver.currentVar), fieldsOf(RW_VAR()));
    EXPECT_EQ(driver.listKind, 100);
    EXPECT_EQ(driver.passCount + driver.writeBurst + driver.onceBurst, 0);
    EXPECT_FALSE(driver.commFailed || driver.spareFlag);
    for (QMutex *mutex :
         {&driver.listMutex, &driver.imageMutex, &driver.stationMutex, &driver.storageMutex}) {
        EXPECT_TRUE(!mutex->isRecursive() && mutex->tryLock());
        mutex->unlock();
    }
    EXPECT_TRUE(DataStorage.isEmpty());
}

TEST(Library, KeepsTheLocalMemoriesOfTheHostForOtherModules) {
    int memory[3];
    FlashLocalRegister(memory, memory + 1, memory + 2);
    EXPECT_EQ(std::tie(LB, LW, RWI), std::tuple(memory, memory + 1, memory + 2));
    EXPECT_EQ(QueryFinishFlag(), 1);
}

} // namespace

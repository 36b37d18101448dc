// The driver loaded from its file: a copy for each line, with a state of its own.
#include "driver/Communication_Protocol.h"
#include "panel/line/driver_copy.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <array>

namespace {

// Written into the image alone, so that no line is needed.
void write(const Driver &driver, char value) {
    QString address = "5";
    QByteArray data(2, value);
    EXPECT_EQ(driver.SetRegisterData(nullptr, 7, &address, 1, &data, 1, 0, 0), 1);
}

QByteArray read(const Driver &driver) {
    QByteArray data;
    EXPECT_EQ(driver.GetRegisterData(nullptr, 7, "5", 1, &data, 1), 1);
    return data;
}

TEST(DriverCopy, HasAStateOfItsOwn) {
    static std::array<ComInfo, 3> ports{};
    std::array<Driver, 3> drivers;
    ports[2].commMode = 2; // what is written waits for the line
    ports[2].blockLimit = 1;
    for (size_t i = 0; i < drivers.size(); ++i) {
        ASSERT_EQ(loadDriverCopy(DRIVER_LIBRARY, &drivers[i]).toStdString(), "");
        drivers[i].SetComInfo(&ports[i]);
    }
    for (size_t i = 0; i < drivers.size(); ++i)
        write(drivers[i], static_cast<char>('a' + i));
    EXPECT_EQ(read(drivers[0]), "aa");
    EXPECT_EQ(read(drivers[1]), "bb");
    EXPECT_EQ(read(drivers[2]), QByteArray(2, '\0'));
    EXPECT_TRUE(DataStorage.isEmpty()); // of the one that this program is linked with
}

TEST(DriverCopy, SaysInOneLineWhatIsWrongWithALibrary) {
    const QTemporaryDir directory;
    const QString text = directory.filePath("text.so");
    QFile file(text);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("no library") > 0);
    file.close();
    const struct {
        QString path;
        QString expected;
    } cases[] = {
        {"/nowhere/lib.so", "/nowhere/lib.so: cannot open"},
        {"libm.so.6", "libm.so.6: has no SetComInfo"},
        {text, text + ": "},
        {directory.path(), directory.path() + ": "},
    };
    for (const auto &c : cases) {
        Driver driver;
        const QString error = loadDriverCopy(c.path, &driver);
        EXPECT_TRUE(error.startsWith(c.expected)) << qPrintable(error);
        EXPECT_FALSE(error.contains('\n')) << qPrintable(error);
    }
}

} // namespace

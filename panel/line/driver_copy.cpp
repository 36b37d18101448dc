#include "panel/line/driver_copy.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

void *openLibrary(const QString &path) {
    return ::dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL);
}

// Where the loader has found the library.
QString fileOf(void *library) {
    link_map *map = nullptr;
    if (::dlinfo(library, RTLD_DI_LINKMAP, &map) != 0)
        return {};
    return QFile::decodeName(map->l_name);
}

bool writeAll(int descriptor, const QByteArray &bytes) {
    QFile file;
    return file.open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered) &&
           file.write(bytes) == bytes.size();
}

// The loader tells libraries apart by the name they were opened with first: the descriptor stays
// open, so that the next copy gets another number.
void *openInMemory(const QByteArray &bytes) {
    const int descriptor = ::memfd_create("modbus_rtu_driver", MFD_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    void *library = nullptr;
    if (writeAll(descriptor, bytes))
        library = openLibrary(QString("/proc/self/fd/%1").arg(descriptor));
    if (library == nullptr)
        ::close(descriptor);
    return library;
}

void *openTemporaryFile(const QByteArray &bytes) {
    QTemporaryFile file(QDir::tempPath() + "/modbus_rtu_driver-XXXXXX");
    if (!file.open() || !writeAll(file.handle(), bytes))
        return nullptr;
    return openLibrary(file.fileName());
}

} // namespace

QString loadDriverCopy(const QString &path, Driver *driver) {
    // A bare name is a file here first; dlopen alone would look in the system's folders only.
    const QFileInfo info(path);
    // The file itself is loaded too: what it needs is found from where it lies.
    void *original = openLibrary(info.exists() ? info.absoluteFilePath() : path);
    if (original == nullptr)
        return ::dlerror();
    const QString missing = findEntryPoints(original, driver);
    if (!missing.isEmpty())
        return path + ": has no " + missing;

    QFile file(fileOf(original));
    if (!file.open(QIODevice::ReadOnly))
        return path + ": " + file.errorString();
    const QByteArray bytes = file.readAll();
    void *copy = openInMemory(bytes);
    if (copy == nullptr)
        copy = openTemporaryFile(bytes);
    if (copy == nullptr)
        return QString("%1: no copy of it can be loaded: %2").arg(path, ::dlerror());
    findEntryPoints(copy, driver);
    return {};
}

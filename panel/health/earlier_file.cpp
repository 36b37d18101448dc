#include "panel/health/earlier_file.h"

#include <QFile>
#include <QFileInfo>

QString whyNotReplaced(const QString &path, const char *kind, IsEarlier isEarlier) {
    constexpr int Beginning = 256;
    if (!QFileInfo(path).isFile())
        return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return path + ": " + file.errorString();
    const QByteArray beginning = file.read(Beginning);
    if (beginning.isEmpty() || isEarlier(beginning))
        return {};
    return path + ": there already, and no " + kind;
}

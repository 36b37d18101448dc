# -DPRECOMPILED_HEADERS=ON reads the headers of Qt once for each target in place of once for each file.
# For the builds of proofs alone: a file that forgot an include goes unnoticed.
option(PRECOMPILED_HEADERS "Compile the headers of QtCore once for each target" OFF)

# precompile_headers(target [header...]): those of QtCore and the standard library, and these.
function(precompile_headers target)
  if(PRECOMPILED_HEADERS)
    target_precompile_headers(${target} PRIVATE
      <QByteArray> <QFile> <QHash> <QJsonArray> <QJsonDocument> <QJsonObject> <QList> <QMap> <QMutex>
      <QString> <QStringList> <QTextStream>
      <algorithm> <array> <atomic> <chrono> <deque> <functional> <map> <memory> <mutex> <optional>
      <set> <string> <thread> <vector> ${ARGN})
  endif()
endfunction()

# The headers that nearly every source includes, parsed once: most of a compilation's time would be
# theirs. The compile check does without, and so sees that each source includes what it uses.
set(precompiled_headers
    <QByteArray> <QDebug> <QHash> <QJsonArray> <QJsonObject> <QList> <QMutex> <QObject>
    <QSharedPointer> <QString> <QStringList> <QThread> <QTimer>
    <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <cstring> <functional>
    <memory> <mutex> <optional> <string> <thread> <utility> <vector>)
# Who finds them built with other options parses them again.
set(CMAKE_PCH_WARN_INVALID OFF)

# quorvane_precompile(target [header...]): builds them for the target, and these headers with them.
function(quorvane_precompile target)
    if(NOT QUORVANE_COMPILE_CHECK)
        target_precompile_headers(${target} PRIVATE ${precompiled_headers} ${ARGN})
    endif()
endfunction()

# quorvane_reuse_precompiled(target owner): takes those of a target with the same options.
function(quorvane_reuse_precompiled target owner)
    if(NOT QUORVANE_COMPILE_CHECK)
        target_precompile_headers(${target} REUSE_FROM ${owner})
    endif()
endfunction()

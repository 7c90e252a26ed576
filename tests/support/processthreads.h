// The threads of this process, to see that none is left behind.
#pragma once

#include <QDir>

inline qsizetype threadsOfProcess()
{
    return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

#include "link/randomport.h"

#include <QRandomGenerator>
#include <QString>

#include <array>

namespace
{
constexpr std::array<int, 2> digitCounts{4, 5};
constexpr QLatin1StringView digits{"0123456789"};
constexpr unsigned short firstUnprivilegedPort = 1024;

// Both draws leave out the last entry of their list, so that a port has four digits and no 9.
int drawDigitCount()
{
    const int last = int(digitCounts.size()) - 1;
    return digitCounts.at(QRandomGenerator64::global()->bounded(last));
}

QLatin1Char drawDigit()
{
    const quint64 draw = QRandomGenerator::global()->generate();
    return digits.at(qsizetype(draw * quint64(digits.size() - 1) >> 32));
}
} // namespace

unsigned short randomPort()
{
    while (true) {
        const int count = drawDigitCount();
        QString text;
        while (text.size() < count)
            text += drawDigit();
        const unsigned short port = text.toUShort(nullptr, 10);
        if (port >= firstUnprivilegedPort)
            return port;
    }
}

unsigned short randomPortOtherThan(unsigned short taken)
{
    while (true) {
        const unsigned short port = randomPort();
        if (port != taken)
            return port;
    }
}

// Report lengths by report descriptor.
#include "platform/linux/hidreportdescriptor.h"

#include <QTest>

#include <vector>

namespace
{
using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes left, const Bytes &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes repeated(int times, const Bytes &part)
{
    Bytes whole;
    for (int round = 0; round < times; ++round)
        whole = whole + part;
    return whole;
}

const Bytes size8{0x75, 8};
const Bytes push{0xA4};
const Bytes pop{0xB4};
const Bytes input{0x81, 0x02};
const Bytes output{0x91, 0x02};
const Bytes feature{0xB1, 0x02};

Bytes count(int number)
{
    return {0x95, std::uint8_t(number)};
}

Bytes size(int bits)
{
    return {0x75, std::uint8_t(bits)};
}

Bytes reportId(int id)
{
    return {0x85, std::uint8_t(id)};
}

/// The descriptor of a boot mouse: three buttons, padding, X, Y and wheel.
const Bytes mouse{0x05, 0x01, 0x09, 0x02, 0xA1, 0x01, 0x09, 0x01, 0xA1, 0x00, 0x05, 0x09, 0x19,
                  0x01, 0x29, 0x03, 0x15, 0x00, 0x25, 0x01, 0x95, 0x03, 0x75, 0x01, 0x81, 0x02,
                  0x95, 0x01, 0x75, 0x05, 0x81, 0x03, 0x05, 0x01, 0x09, 0x30, 0x09, 0x31, 0x09,
                  0x38, 0x15, 0x81, 0x25, 0x7F, 0x75, 0x08, 0x95, 0x03, 0x81, 0x06, 0xC0, 0xC0};
} // namespace

Q_DECLARE_METATYPE(Bytes)
Q_DECLARE_METATYPE(HidReportLengths)

class TestHidReportDescriptor : public QObject
{
    Q_OBJECT

private slots:
    void lengths_data();
    void lengths();
    void malformed_data();
    void malformed();
    void everyCutOffItemIsMalformed();
};

void TestHidReportDescriptor::lengths_data()
{
    QTest::addColumn<Bytes>("descriptor");
    QTest::addColumn<HidReportLengths>("expected");
    const auto row = [](const char *name, const Bytes &descriptor, HidReportLengths expected) {
        QTest::newRow(name) << descriptor << expected;
    };
    row("empty", {}, {});
    row("mouse", mouse, {4, 0, 0, false});
    row("each kind", size8 + count(3) + input + count(5) + output + count(7) + feature,
        {3, 5, 7, false});
    row("fields add up", size8 + count(3) + input + count(2) + input, {5, 0, 0, false});
    row("bits fill bytes", size(1) + count(9) + input, {2, 0, 0, false});
    row("bits of several fields", size(3) + count(1) + input + size(5) + input, {1, 0, 0, false});
    row("longest of the IDs",
        size8 + reportId(1) + count(2) + input + reportId(2) + count(9) + input + count(4) +
            output + reportId(255) + count(3) + input,
        {9, 4, 0, true});
    row("an ID again",
        size8 + reportId(1) + count(2) + input + reportId(2) + count(3) + input + reportId(1) +
            input,
        {5, 0, 0, true});
    row("IDs for one kind only", size8 + count(1) + output + reportId(1) + count(2) + input,
        {2, 1, 0, true});
    row("push and pop",
        size8 + count(2) + push + size(16) + count(4) + reportId(3) + feature + pop + input,
        {2, 0, 8, true});
    row("nested pushes",
        size8 + count(1) + push + count(2) + push + count(3) + input + pop + output + pop + feature,
        {3, 2, 1, false});
    row("push that stays", size8 + count(1) + push + input, {1, 0, 0, false});
    row("count of 0", size8 + count(0) + input, {0, 0, 0, false});
    row("field before any size", input + size8 + count(1) + output, {0, 1, 0, false});
    row("count in two bytes", size8 + Bytes{0x96, 0x00, 0x02} + output, {0, 512, 0, false});
    row("count in four bytes", size8 + Bytes{0x97, 0x00, 0x02, 0, 0} + output, {0, 512, 0, false});
    row("count without data", size8 + count(4) + Bytes{0x94} + input, {0, 0, 0, false});
    row("unknown items", Bytes{0x0D, 1, 0xFD, 2, 0xC5, 3} + size8 + count(1) + input,
        {1, 0, 0, false});
    row("long item", Bytes{0xFE, 3, 0x81, 0x85, 0, 0} + size8 + count(1) + input, {1, 0, 0, false});
    row("empty long item", Bytes{0xFE, 0, 0x10} + size8 + count(1) + input, {1, 0, 0, false});
    row("as long as it gets", size8 + Bytes{0x96, 0x00, 0x40} + feature, {0, 0, 16384, false});
}

void TestHidReportDescriptor::lengths()
{
    QFETCH(const Bytes, descriptor);
    const auto lengths = parseReportDescriptor(descriptor);
    QVERIFY(lengths);
    QTEST(*lengths, "expected");
}

void TestHidReportDescriptor::malformed_data()
{
    QTest::addColumn<Bytes>("descriptor");
    QTest::newRow("item without its byte") << Bytes{0x75};
    QTest::newRow("item without its last byte") << Bytes{0x97, 1, 2, 3};
    QTest::newRow("long item without its head") << Bytes{0xFE, 0};
    QTest::newRow("long item without its data") << Bytes{0xFE, 3, 0x10, 1, 2};
    QTest::newRow("pop without a push") << pop;
    QTest::newRow("pop too many") << push + pop + pop;
    QTest::newRow("pushes without end") << repeated(5, push);
    QTest::newRow("ID 0") << reportId(0) + size8 + count(1) + input;
    QTest::newRow("ID without data") << Bytes{0x84};
    QTest::newRow("ID 256") << Bytes{0x86, 0x00, 0x01};
    QTest::newRow("too long by a byte") << size8 + Bytes{0x96, 0x01, 0x40} + feature;
    QTest::newRow("too long by many fields")
        << size8 + Bytes{0x96, 0x00, 0x20} + repeated(3, input);
    QTest::newRow("beyond any number")
        << Bytes{0x77, 0xFF, 0xFF, 0xFF, 0xFF, 0x97, 0xFF, 0xFF, 0xFF, 0xFF} + repeated(3, input);
}

void TestHidReportDescriptor::malformed()
{
    QFETCH(const Bytes, descriptor);
    QVERIFY(!parseReportDescriptor(descriptor));
}

void TestHidReportDescriptor::everyCutOffItemIsMalformed()
{
    // Two bytes an item but for the collections' ends: an odd cut is inside an item.
    const std::span whole(mouse);
    for (std::size_t length = 1; length < mouse.size() - 2; length += 2)
        QVERIFY(!parseReportDescriptor(whole.first(length)));
}

QTEST_APPLESS_MAIN(TestHidReportDescriptor)
#include "tst_hidreportdescriptor.moc"

// The gain loop: its arithmetic, and that vector instructions change nothing about it.
#include "engines/gainloop.h"

#include <QTest>

#include <vector>

void applyGainScalar(const char *source, unsigned char *target, std::size_t samples, float volume);

namespace
{

using Samples = std::vector<qint16>;

template <typename Loop>
Samples run(Loop loop, const Samples &input, float volume)
{
    Samples output(input.size(), qint16(0x5A5A));
    loop(reinterpret_cast<const char *>(input.data()),
         reinterpret_cast<unsigned char *>(output.data()), input.size(), volume);
    return output;
}

Samples everySample()
{
    Samples all;
    for (int sample = -32768; sample <= 32767; ++sample)
        all.push_back(static_cast<qint16>(sample));
    return all;
}

} // namespace

class TestGainLoop : public QObject
{
    Q_OBJECT

private slots:
    void truncates_data();
    void truncates();
    void fullVolumeIsIdentity();
    void silence();
    void sameAsUnvectorised_data();
    void sameAsUnvectorised();
    void everyLengthAndAlignment();
};

void TestGainLoop::truncates_data()
{
    QTest::addColumn<int>("sample");
    QTest::addColumn<float>("volume");
    QTest::addColumn<int>("expected");

    QTest::newRow("7 x 0.5") << 7 << 0.5f << 3;
    QTest::newRow("-7 x 0.5") << -7 << 0.5f << -3;
    QTest::newRow("1 x 0.999") << 1 << 0.999f << 0;
    QTest::newRow("-1 x 0.999") << -1 << 0.999f << 0;
    QTest::newRow("32767 x 0.5") << 32767 << 0.5f << 16383;
    QTest::newRow("-32768 x 0.5") << -32768 << 0.5f << -16384;
    QTest::newRow("-32767 x 0.5") << -32767 << 0.5f << -16383;
    QTest::newRow("10000 x 0.333188") << 10000 << 0.333188f << 3331;
    QTest::newRow("-10000 x 0.333188") << -10000 << 0.333188f << -3331;
}

void TestGainLoop::truncates()
{
    QFETCH(int, sample);
    QFETCH(float, volume);
    QFETCH(int, expected);

    // Long enough that the vectorised body and the tail both meet the sample.
    const Samples output = run(applyGain, Samples(37, static_cast<qint16>(sample)), volume);
    for (const qint16 actual : output)
        QCOMPARE(int(actual), expected);
}

void TestGainLoop::fullVolumeIsIdentity()
{
    QVERIFY(run(applyGain, everySample(), 1.0f) == everySample());
}

void TestGainLoop::silence()
{
    QVERIFY(run(applyGain, everySample(), 0.0f) == Samples(65536, 0));
}

void TestGainLoop::sameAsUnvectorised_data()
{
    QTest::addColumn<float>("volume");
    for (const float volume :
         {0.0f, 0.008886f, 0.1f, 0.333188f, 0.5f, 0.835625f, 0.99999994f, 1.0f})
        QTest::addRow("%.8f", double(volume)) << volume;
}

void TestGainLoop::sameAsUnvectorised()
{
    QFETCH(float, volume);
    const Samples input = everySample();
    const Samples output = run(applyGain, input, volume);
    QVERIFY(output == run(applyGainScalar, input, volume));
    for (std::size_t i = 0; i < input.size(); ++i)
        QCOMPARE(output[i], static_cast<qint16>(static_cast<float>(input[i]) * volume));
}

void TestGainLoop::everyLengthAndAlignment()
{
    const Samples input = everySample();
    const char *bytes = reinterpret_cast<const char *>(input.data());
    for (std::size_t length = 0; length <= 70; ++length) {
        for (std::size_t offset = 0; offset < 16; ++offset) {
            // One byte of guard on either side of the target.
            std::vector<unsigned char> vectorised(length * 2 + 2, 0xAA);
            std::vector<unsigned char> scalar(length * 2 + 2, 0xAA);
            applyGain(bytes + 40001 + offset, vectorised.data() + 1, length, 0.7f);
            applyGainScalar(bytes + 40001 + offset, scalar.data() + 1, length, 0.7f);
            QVERIFY(vectorised == scalar);
            QCOMPARE(vectorised.front(), 0xAA);
            QCOMPARE(vectorised.back(), 0xAA);
        }
    }
}

QTEST_GUILESS_MAIN(TestGainLoop)
#include "tst_gainloop.moc"

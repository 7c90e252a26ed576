// The curve from percent to gain.
#include "engines/gaincurve.h"

#include <QTest>

class TestGainCurve : public QObject
{
    Q_OBJECT

private slots:
    void points_data();
    void points();
    void rises();
};

void TestGainCurve::points_data()
{
    QTest::addColumn<int>("percent");
    QTest::addColumn<double>("gain");

    QTest::newRow("99") << 99 << 0.982815;
    QTest::newRow("90") << 90 << 0.835625;
    QTest::newRow("75") << 75 << 0.619177;
    QTest::newRow("50") << 50 << 0.333188;
    QTest::newRow("25") << 25 << 0.132227;
    QTest::newRow("10") << 10 << 0.048643;
    QTest::newRow("1") << 1 << 0.008886;
    QTest::newRow("full scale") << 100 << 1.0;
    QTest::newRow("above") << 101 << 1.0;
    QTest::newRow("far above") << 100000 << 1.0;
    QTest::newRow("silence") << 0 << 0.0;
    QTest::newRow("below") << -1 << 0.0;
}

void TestGainCurve::points()
{
    QFETCH(int, percent);
    QFETCH(double, gain);

    const double actual = gainOfPercent(percent);
    QVERIFY2(std::abs(actual - gain) <= 0.5e-6, qPrintable(QString::number(actual, 'g', 9)));
    // The ends are exact: no rounding may leak sound or lose scale.
    if (gain == 0.0 || gain == 1.0)
        QCOMPARE(actual, gain);
}

void TestGainCurve::rises()
{
    for (int percent = 1; percent <= 100; ++percent)
        QVERIFY2(gainOfPercent(percent) > gainOfPercent(percent - 1),
                 qPrintable(QString::number(percent)));
}

QTEST_GUILESS_MAIN(TestGainCurve)
#include "tst_gaincurve.moc"

// The curve from percent to gain.
#include "engines/gaincurve.h"
#include "tests/unit/engines/gainpoints.h"

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

    for (const GainPoint &point : gainPoints)
        QTest::addRow("%d", point.percent) << point.percent << point.gain;
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

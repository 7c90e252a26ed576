#include "endpoints/keyproperties.h"

#include <QTest>
#include <QUuid>

namespace
{

GUID guidOf(const char *text)
{
    const QUuid uuid(text);
    GUID guid{uuid.data1, uuid.data2, uuid.data3, {}};
    std::copy(std::begin(uuid.data4), std::end(uuid.data4), std::begin(guid.Data4));
    return guid;
}

} // namespace

class TestKeyProperties : public QObject
{
    Q_OBJECT

private slots:
    void matchesTheTable_data();
    void matchesTheTable();
    void anotherByteIsAnotherFormat_data();
    void anotherByteIsAnotherFormat();
};

void TestKeyProperties::matchesTheTable_data()
{
    QTest::addColumn<QByteArray>("formatID");
    QTest::addColumn<QList<quint32>>("hits");
    QTest::addColumn<QList<quint32>>("misses");

    const QList<quint32> any{0, 1, 2, 3, 14, 255, 0x7FFFFFFF, 0xFFFFFFFF};
    const QList<quint32> none;
    const auto row = [](const char *formatID, const QList<quint32> &hits,
                        const QList<quint32> &misses) {
        QTest::newRow(formatID) << QByteArray(formatID) << hits << misses;
    };
    row("{E4870E26-3CC5-4CD2-BA46-CA0A9A70ED04}", {0, 1}, {2, 3, 0xFFFFFFFF});
    row("{624F56DE-FD24-473E-814A-DE40AACAED16}", {3}, {0, 1, 2, 4, 0xFFFFFFFF});
    row("{F19F064D-082C-4E27-854B-EA96B946427D}", any, none);
    row("{3F966BD9-FB77-4734-8478-E994E4558426}", any, none);
    row("{6F69810E-5A7E-4E7E-8C72-0978C874C36F}", any, none);
    row("{A45C254E-DF1C-4EFD-8020-67D146A850E0}", any, none);
    row("{17EAB2DA-8062-4C9E-B725-F7136B9BAC64}", any, none);
    row("{0BD7A1BE-7A1A-44DB-8397-CC5392387B5E}", any, none);
    row("{A8B865DD-2E3D-4094-AD97-E593A70C75D6}", any, none);
    row("{1BE09788-6894-4089-8586-9A2A6C265AC5}", any, none);
    row("{D666063F-1587-4E43-81F1-B948E807363F}", any, none);
    row("{523F4E44-4D3C-4D4F-9B6D-360B647F610F}", any, none);
    row("{4340A6C5-93FA-4706-972C-7B648008A5A7}", any, none);
    row("{540B947E-8B40-453E-9F3E-373F5442E0B7}", any, none);
    row("{8A845654-D6C3-4CD7-B4EB-243D4BD99032}", {2}, {0, 1, 3, 0xFFFFFFFF});
    row("{A45429A4-AA63-4480-B7F8-3F2552DAEE93}", {2, 3, 4, 5, 6}, {0, 1, 7, 0xFFFFFFFF});
    row("{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}", none, any);
    row("{00000000-0000-0000-0000-000000000000}", none, any);
}

void TestKeyProperties::matchesTheTable()
{
    QFETCH(QByteArray, formatID);
    QFETCH(QList<quint32>, hits);
    QFETCH(QList<quint32>, misses);
    const GUID format = guidOf(formatID.constData());
    for (const quint32 propertyID : hits)
        QVERIFY2(isKeyProperty({format, propertyID}), qPrintable(QString::number(propertyID)));
    for (const quint32 propertyID : misses)
        QVERIFY2(!isKeyProperty({format, propertyID}), qPrintable(QString::number(propertyID)));
}

void TestKeyProperties::anotherByteIsAnotherFormat_data()
{
    QTest::addColumn<QByteArray>("formatID");
    QTest::newRow("first byte") << QByteArray("{A45C254F-DF1C-4EFD-8020-67D146A850E0}");
    QTest::newRow("last byte") << QByteArray("{A45C254E-DF1C-4EFD-8020-67D146A850E1}");
}

void TestKeyProperties::anotherByteIsAnotherFormat()
{
    QFETCH(QByteArray, formatID);
    QVERIFY(!isKeyProperty({guidOf(formatID.constData()), 14}));
}

QTEST_GUILESS_MAIN(TestKeyProperties)
#include "tst_keyproperties.moc"

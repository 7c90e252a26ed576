// The queries beside hidapi, on a device that answers them. The system's functions of a device's
// capabilities are answered here: without a device they have nothing to tell.
#include "handles.h"
#include "platform/hid.h"

#include <QDir>
#include <QList>
#include <QTemporaryFile>
#include <QTest>

#include <set>

// clang-format off
extern "C" {
#include <hidsdi.h>
#include <hidpi.h>
}
// clang-format on

namespace
{

/// The report IDs of a kind's fields, one each.
struct Fields
{
    QList<int> buttons;
    QList<int> values;
};

struct PlayedDevice
{
    Fields input;
    Fields output;
    NTSTATUS capsAnswer = HIDP_STATUS_SUCCESS;
    NTSTATUS fieldsAnswer = HIDP_STATUS_SUCCESS;
};

constexpr int inputLength = 65;
constexpr int outputLength = 33;
constexpr int featureLength = 17;

PlayedDevice played;
hid_device_info info{};
/// The descriptors that have been handed out and not been freed.
std::set<PHIDP_PREPARSED_DATA> parsed;
int handedOut = 0;

/// As the system does it, nothing is told where there is no room for all.
template <typename Field>
NTSTATUS tell(const QList<int> &ids, Field *fields, USHORT *count)
{
    if (*count < ids.size())
        return HIDP_STATUS_BUFFER_TOO_SMALL;
    *count = USHORT(ids.size());
    for (const int id : ids) {
        *fields = {};
        fields++->ReportID = UCHAR(id);
    }
    return played.fieldsAnswer;
}

const Fields &fieldsOf(HIDP_REPORT_TYPE type)
{
    static const Fields none;
    return type == HidP_Input ? played.input : type == HidP_Output ? played.output : none;
}

} // namespace

hid_device_info *hid_get_device_info(hid_device *)
{
    return &info;
}

BOOLEAN HidD_GetPreparsedData(HANDLE file, PHIDP_PREPARSED_DATA *data)
{
    if (GetFileType(file) != FILE_TYPE_DISK)
        return FALSE;
    *data = reinterpret_cast<PHIDP_PREPARSED_DATA>(new int(++handedOut));
    parsed.insert(*data);
    return TRUE;
}

BOOLEAN HidD_FreePreparsedData(PHIDP_PREPARSED_DATA data)
{
    if (!parsed.erase(data))
        return FALSE;
    delete reinterpret_cast<int *>(data);
    return TRUE;
}

NTSTATUS HidP_GetCaps(PHIDP_PREPARSED_DATA data, PHIDP_CAPS caps)
{
    if (!parsed.count(data))
        return HIDP_STATUS_INVALID_PREPARSED_DATA;
    caps->InputReportByteLength = inputLength;
    caps->OutputReportByteLength = outputLength;
    caps->FeatureReportByteLength = featureLength;
    caps->NumberInputButtonCaps = USHORT(played.input.buttons.size());
    caps->NumberInputValueCaps = USHORT(played.input.values.size());
    caps->NumberOutputButtonCaps = USHORT(played.output.buttons.size());
    caps->NumberOutputValueCaps = USHORT(played.output.values.size());
    return played.capsAnswer;
}

NTSTATUS HidP_GetButtonCaps(HIDP_REPORT_TYPE type, PHIDP_BUTTON_CAPS fields, PUSHORT count,
                            PHIDP_PREPARSED_DATA data)
{
    return parsed.count(data) ? tell(fieldsOf(type).buttons, fields, count)
                              : HIDP_STATUS_INVALID_PREPARSED_DATA;
}

NTSTATUS HidP_GetValueCaps(HIDP_REPORT_TYPE type, PHIDP_VALUE_CAPS fields, PUSHORT count,
                           PHIDP_PREPARSED_DATA data)
{
    return parsed.count(data) ? tell(fieldsOf(type).values, fields, count)
                              : HIDP_STATUS_INVALID_PREPARSED_DATA;
}

class TestHidCapabilities : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void lengthsLeaveTheIdOut();
    void idsAreThoseOfInputFields_data();
    void idsAreThoseOfInputFields();
    void refusedCapabilities();
    void nothingIsKept();

private:
    QTemporaryFile file;
    QByteArray path;
    /// hidapi looks inside; the queries don't.
    hid_device *device = reinterpret_cast<hid_device *>(this);
};

void TestHidCapabilities::initTestCase()
{
    QVERIFY(file.open());
    path = QDir::toNativeSeparators(file.fileName()).toUtf8();
    info.path = path.data();
}

void TestHidCapabilities::init()
{
    played = {};
    handedOut = 0;
}

void TestHidCapabilities::lengthsLeaveTheIdOut()
{
    QCOMPARE(hid_get_input_report_lenght(device), inputLength - 1);
    QCOMPARE(hid_get_output_report_lenght(device), outputLength - 1);
    QCOMPARE(hid_get_feature_report_lenght(device), featureLength - 1);
}

void TestHidCapabilities::idsAreThoseOfInputFields_data()
{
    QTest::addColumn<Fields>("input");
    QTest::addColumn<Fields>("output");
    QTest::addColumn<bool>("expected");
    QTest::newRow("no field") << Fields{} << Fields{} << false;
    QTest::newRow("unnumbered") << Fields{{0, 0}, {0}} << Fields{} << false;
    QTest::newRow("a button") << Fields{{1}, {}} << Fields{} << true;
    QTest::newRow("a value") << Fields{{}, {1}} << Fields{} << true;
    QTest::newRow("a value, no button") << Fields{{0}, {255}} << Fields{} << true;
    QTest::newRow("the last button") << Fields{{0, 0, 2}, {0}} << Fields{} << true;
    QTest::newRow("the last value") << Fields{{0}, {0, 0, 2}} << Fields{} << true;
    QTest::newRow("output alone") << Fields{{0}, {0}} << Fields{{1}, {1}} << false;
}

void TestHidCapabilities::idsAreThoseOfInputFields()
{
    QFETCH(const Fields, input);
    QFETCH(const Fields, output);
    played.input = input;
    played.output = output;
    QTEST(hidUsesReportIds(device), "expected");
    // Fields that are refused tell of no ID.
    played.fieldsAnswer = HIDP_STATUS_INTERNAL_ERROR;
    QVERIFY(!hidUsesReportIds(device));
}

void TestHidCapabilities::refusedCapabilities()
{
    played.input = {{1}, {1}};
    played.capsAnswer = HIDP_STATUS_INVALID_PREPARSED_DATA;
    QCOMPARE(hid_get_input_report_lenght(device), -1);
    QCOMPARE(hid_get_output_report_lenght(device), -1);
    QCOMPARE(hid_get_feature_report_lenght(device), -1);
    QVERIFY(!hidUsesReportIds(device));
    QCOMPARE(handedOut, 4);
    QVERIFY(parsed.empty());
}

void TestHidCapabilities::nothingIsKept()
{
    played.input = {{0}, {1}};
    const auto askAll = [this] {
        static_cast<void>(hid_get_input_report_lenght(device));
        static_cast<void>(hid_get_output_report_lenght(device));
        static_cast<void>(hid_get_feature_report_lenght(device));
        static_cast<void>(hidUsesReportIds(device));
    };
    QCOMPARE(leftOpen(askAll), 0);
    QVERIFY(handedOut > 0);
    QVERIFY(parsed.empty());
}

QTEST_GUILESS_MAIN(TestHidCapabilities)
#include "tst_hidcapabilities.moc"

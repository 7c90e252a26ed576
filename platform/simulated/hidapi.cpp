// hidapi's functions over the scripted devices.
#include "platform/hid.h"
#include "platform/simulated/census.h"
#include "platform/simulated/hidtable.h"
#include "platform/simulated/record.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <cwchar>
#include <thread>

using namespace simulated;

struct hid_device_
{
    std::shared_ptr<HidState> state;
    /// Of the last call on this handle, as hidapi keeps it: unguarded, whatever thread calls.
    HidErrorText error;
    std::chrono::steady_clock::time_point nextWrite;
};

namespace
{

constexpr DWORD deviceNotConnected = 0x48F;

QString named(const char *function, const hid_device *device)
{
    return QStringLiteral("%1 %2").arg(QLatin1StringView(function),
                                       QString::fromLatin1(device->state->description.path));
}

/// Frees what stood there; nothing stands there after a success.
void setError(HidErrorText &text, const char *function, std::optional<DWORD> code)
{
    text.reset();
    if (!code)
        return;
    const QString digits = QStringLiteral("%1").arg(*code, 8, 16, QLatin1Char('0')).toUpper();
    text = std::make_unique<const std::wstring>(
        QStringLiteral("%1: (0x%2)").arg(QLatin1StringView(function), digits).toStdWString());
}

/// Records a call on a device; true, with the error set, if it is to fail.
bool fails(hid_device *device, const char *function)
{
    const auto fault = faultOf(named(function, device));
    bool isGone = false;
    {
        const std::lock_guard lock(hidTable().mutex);
        isGone = device->state->unplugged;
    }
    if (!fault && !isGone) {
        setError(device->error, function, {});
        return false;
    }
    setError(device->error, function, fault ? static_cast<DWORD>(*fault) : deviceNotConnected);
    return true;
}

/// The same for a call on the library as a whole.
bool libraryFails(const QString &call, const char *function)
{
    const auto fault = faultOf(call);
    const std::lock_guard lock(hidTable().mutex);
    setError(hidTable().globalError, function, fault);
    return fault.has_value();
}

wchar_t *duplicate(const QString &text)
{
    const std::wstring wide = text.toStdWString();
    auto *copy = static_cast<wchar_t *>(std::malloc((wide.size() + 1) * sizeof(wchar_t)));
    std::wcscpy(copy, wide.c_str());
    return copy;
}

hid_device_info *makeInfo(const HidDevice &device)
{
    auto *info = new hid_device_info{};
    info->path = strdup(device.path.constData());
    info->vendor_id = device.vendorId;
    info->product_id = device.productId;
    info->serial_number = duplicate(device.serialNumber);
    info->usage_page = device.usagePage;
    info->usage = device.usage;
    return info;
}

int giveString(hid_device *device, const char *function, const QString &text, wchar_t *string,
               std::size_t maxlen)
{
    if (fails(device, function))
        return -1;
    const std::wstring wide = text.left(qsizetype(maxlen) - 1).toStdWString();
    std::wcscpy(string, wide.c_str());
    return 0;
}

int giveReport(hid_device *device, const char *function, QByteArray HidState::*report,
               unsigned char *data, std::size_t length)
{
    if (fails(device, function))
        return -1;
    const std::lock_guard lock(hidTable().mutex);
    HidState &state = *device->state;
    state.lastQuery = QByteArray(reinterpret_cast<const char *>(data), qsizetype(length));
    const QByteArray bytes = (state.*report).left(qsizetype(length));
    std::copy(bytes.begin(), bytes.end(), data);
    return int(bytes.size());
}

int takeReport(hid_device *device, const char *function, QList<QByteArray> HidState::*writes,
               const unsigned char *data, std::size_t length)
{
    if (fails(device, function))
        return -1;
    const int interval = device->state->description.writeIntervalUs;
    if (interval > 0) {
        // One report for each turn of the bus; who comes late waits for the next turn.
        std::this_thread::sleep_until(device->nextWrite);
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::microseconds turn(interval);
        while (device->nextWrite <= now)
            device->nextWrite += turn;
    }
    const std::lock_guard lock(hidTable().mutex);
    (device->state.get()->*writes)
        .append(QByteArray(reinterpret_cast<const char *>(data), qsizetype(length)));
    return int(length);
}

int queriedLength(hid_device *device, const char *function, int HidDevice::*length)
{
    return fails(device, function) ? -1 : device->state->description.*length;
}

} // namespace

int hid_init()
{
    return libraryFails("hid_init", "hid_init") ? -1 : 0;
}

int hid_exit()
{
    return libraryFails("hid_exit", "hid_exit") ? -1 : 0;
}

hid_device_info *hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    if (libraryFails(QStringLiteral("hid_enumerate %1 %2").arg(vendor_id).arg(product_id),
                     "hid_enumerate"))
        return nullptr;
    const std::lock_guard lock(hidTable().mutex);
    hid_device_info *first = nullptr;
    hid_device_info **last = &first;
    for (const auto &device : hidTable().devices) {
        const HidDevice &description = device->description;
        if (device->unplugged || (vendor_id && vendor_id != description.vendorId) ||
            (product_id && product_id != description.productId))
            continue;
        *last = makeInfo(description);
        enterCensus(*last, QStringLiteral("hid_device_info"));
        last = &(*last)->next;
    }
    return first;
}

void hid_free_enumeration(hid_device_info *devs)
{
    record("hid_free_enumeration");
    while (devs) {
        hid_device_info *const next = devs->next;
        [[maybe_unused]] const QString name = leaveCensus(devs);
        std::free(devs->path);
        std::free(devs->serial_number);
        delete devs;
        devs = next;
    }
}

hid_device *hid_open_path(const char *path)
{
    if (libraryFails(QStringLiteral("hid_open_path %1").arg(QLatin1StringView(path)),
                     "hid_open_path"))
        return nullptr;
    HidTable &table = hidTable();
    const std::lock_guard lock(table.mutex);
    for (const auto &state : table.devices) {
        if (state->unplugged || state->description.path != path)
            continue;
        ++state->openHandles;
        auto *device = new hid_device_{state, {}, std::chrono::steady_clock::now()};
        enterCensus(device, QStringLiteral("hid_device"));
        return device;
    }
    setError(table.globalError, "hid_open_path", deviceNotConnected);
    return nullptr;
}

void hid_close(hid_device *device)
{
    record(named("hid_close", device));
    {
        const std::lock_guard lock(hidTable().mutex);
        --device->state->openHandles;
    }
    [[maybe_unused]] const QString name = leaveCensus(device);
    delete device;
}

const wchar_t *hid_error(hid_device *device)
{
    record(device ? named("hid_error", device) : QStringLiteral("hid_error"));
    const HidErrorText &text = device ? device->error : hidTable().globalError;
    return text ? text->c_str() : L"Success";
}

int hid_read_timeout(hid_device *device, unsigned char *data, size_t length, int milliseconds)
{
    const bool isEndless = device->state->description.readsReturnAtOnce;
    if (isEndless)
        setError(device->error, "hid_read_timeout", {});
    else if (fails(device, "hid_read_timeout"))
        return -1;
    HidTable &table = hidTable();
    std::unique_lock lock(table.mutex);
    HidState &state = *device->state;
    const auto ready = [&] { return state.unplugged || !state.reports.empty(); };
    if (!table.changed.wait_for(lock, std::chrono::milliseconds(isEndless ? 1 : milliseconds),
                                ready))
        return 0;
    if (state.unplugged) {
        setError(device->error, "hid_read_timeout", deviceNotConnected);
        return -1;
    }
    const QByteArray report = state.reports.front().left(qsizetype(length));
    state.reports.pop_front();
    std::copy(report.begin(), report.end(), data);
    return int(report.size());
}

int hid_write(hid_device *device, const unsigned char *data, size_t length)
{
    return takeReport(device, "hid_write", &HidState::writes, data, length);
}

int hid_send_feature_report(hid_device *device, const unsigned char *data, size_t length)
{
    return takeReport(device, "hid_send_feature_report", &HidState::featureWrites, data, length);
}

int hid_get_feature_report(hid_device *device, unsigned char *data, size_t length)
{
    return giveReport(device, "hid_get_feature_report", &HidState::featureReport, data, length);
}

int hid_get_input_report(hid_device *device, unsigned char *data, size_t length)
{
    return giveReport(device, "hid_get_input_report", &HidState::inputReport, data, length);
}

int hid_get_manufacturer_string(hid_device *device, wchar_t *string, size_t maxlen)
{
    return giveString(device, "hid_get_manufacturer_string", "Maker", string, maxlen);
}

int hid_get_product_string(hid_device *device, wchar_t *string, size_t maxlen)
{
    return giveString(device, "hid_get_product_string", "Product", string, maxlen);
}

int hid_get_serial_number_string(hid_device *device, wchar_t *string, size_t maxlen)
{
    return giveString(device, "hid_get_serial_number_string",
                      device->state->description.serialNumber, string, maxlen);
}

int hid_get_indexed_string(hid_device *device, int string_index, wchar_t *string, size_t maxlen)
{
    return giveString(device, "hid_get_indexed_string",
                      QStringLiteral("String %1").arg(string_index), string, maxlen);
}

int hid_get_input_report_lenght(hid_device *device)
{
    return queriedLength(device, "hid_get_input_report_lenght", &HidDevice::inputLength);
}

int hid_get_feature_report_lenght(hid_device *device)
{
    return queriedLength(device, "hid_get_feature_report_lenght", &HidDevice::featureLength);
}

int hid_get_output_report_lenght(hid_device *device)
{
    return queriedLength(device, "hid_get_output_report_lenght", &HidDevice::outputLength);
}

bool hidUsesReportIds(hid_device *device)
{
    return device->state->description.usesReportIds;
}

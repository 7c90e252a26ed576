// HID devices, as hidapi shows them. Named by their path.
//
// hidapi's calls stand in the record under their names, those on a device with its path:
// "hid_write /dev/hid0". `failNext("hid_write", code)` makes a call answer -1 (or null) and sets an
// error text that carries the code in hexadecimal, as hidapi does on Windows: "hid_write:
// (0x0000001F)".
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace simulated
{

struct HidDevice
{
    QByteArray path;
    ushort vendorId = 0x1234;
    ushort productId = 0x5678;
    QString serialNumber = QStringLiteral("SN1");
    ushort usagePage = 0xFF00;
    ushort usage = 1;
    /// What the length queries answer.
    int inputLength = 64;
    int featureLength = 64;
    int outputLength = 64;
    /// Whether reports begin with an ID.
    bool usesReportIds = false;
    /// Reads without a report answer at once instead of after their time; the record leaves the
    /// reads of such a device out, since there is no end of them.
    bool readsReturnAtOnce = false;
    /// The device takes one written report in so many microseconds; 0 for any number.
    int writeIntervalUs = 0;
};

/// Plugs a device in, behind those that are there.
void addHidDevice(const HidDevice &device);
/// Unplugs it: it is no longer listed, and reads, writes and queries of its handles fail.
void removeHidDevice(const QByteArray &path);

/// A report for the next read, as hidapi's own read gives it.
void queueHidReport(const QByteArray &path, const QByteArray &report);
/// What hid_get_input_report and hid_get_feature_report give, the report ID in front.
void setHidInputReport(const QByteArray &path, const QByteArray &report);
void setHidFeatureReport(const QByteArray &path, const QByteArray &report);

/// The buffers of all writes and feature writes that succeeded, in order.
[[nodiscard]] QList<QByteArray> hidWrites(const QByteArray &path);
[[nodiscard]] QList<QByteArray> hidFeatureWrites(const QByteArray &path);
/// The bytes that the last hid_get_input_report or hid_get_feature_report brought along.
[[nodiscard]] QByteArray hidQuery(const QByteArray &path);
/// Handles on the device that are open now.
[[nodiscard]] int openHidHandles(const QByteArray &path);

} // namespace simulated

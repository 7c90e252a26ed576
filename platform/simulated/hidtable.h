// The scripted HID devices, shared by hidapi's functions and the tests.
#pragma once

#include "platform/simulated/hiddevices.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace simulated
{

struct HidState
{
    HidDevice description;
    bool unplugged = false;
    int openHandles = 0;
    std::deque<QByteArray> reports;
    QByteArray inputReport;
    QByteArray featureReport;
    QByteArray lastQuery;
    QList<QByteArray> writes;
    QList<QByteArray> featureWrites;
};

/// As hidapi says what failed: valid until the next call replaces it. Null is "Success".
using HidErrorText = std::unique_ptr<const std::wstring>;

struct HidTable
{
    std::mutex mutex;
    /// Notified when a report comes or a device goes.
    std::condition_variable changed;
    std::vector<std::shared_ptr<HidState>> devices;
    HidErrorText globalError;
};

HidTable &hidTable();

void resetHid();

} // namespace simulated

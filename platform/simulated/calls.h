// The record of all calls and the faults to inject.
//
// A call is one line of text: the function's name, then its salient arguments, separated by single
// spaces: "IMMDeviceEnumerator::GetDevice {0.0.0.00000000}.{...}", "CreateEventW auto event1",
// "CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 23", "release IAudioClient". Wherever a
// call is named below, the name alone or any number of leading words will do: "CoCreateInstance
// PolicyConfig" names the creation of that class only.
#pragma once

#include "platform/basetypes.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <thread>

namespace simulated
{

struct Call
{
    QString text;
    /// The endpoint of the interface that was called, where it has one.
    QString endpointId;
    std::thread::id thread;
};

/// All calls since the last reset or clearCalls, in order.
[[nodiscard]] QStringList calls();
/// The same with endpoint and calling thread.
[[nodiscard]] QList<Call> callRecords();
void clearCalls();
[[nodiscard]] qsizetype countCalls(const QString &call);

/// Waits until the call has been made since the last clearCalls; false when the time is over.
[[nodiscard]] bool waitForCall(const QString &call, int timeoutMs = 5000);
/// The same for `count` calls.
[[nodiscard]] bool waitForCalls(const QString &call, qsizetype count, int timeoutMs = 5000);

/// Makes the next `times` such calls do nothing but answer the code. A function that returns a
/// BOOL or a HANDLE fails with the code as the last error. `endpointId` narrows the fault to
/// interfaces of one endpoint.
void failNext(const QString &call, DWORD code, int times = 1, const QString &endpointId = {});
/// Makes every such call fail until clearFaults.
void failAlways(const QString &call, DWORD code, const QString &endpointId = {});
void clearFaults();

/// Runs the action on the calling thread at each such call, after it is recorded and before it is
/// carried out, with no lock held: to hold a call up or to change the world under it. Until reset.
void onCall(const QString &call, std::function<void()> action);

} // namespace simulated

// The verb for HID devices.
#include "client/verbs.h"

#include <QJsonArray>

namespace
{
/// A device by vendor and product ID, as the user wrote it: "1234:abcd".
struct HidName
{
    QString text;
    int vendorId;
    int productId;

    [[nodiscard]] QJsonObject device() const { return {{"VID", vendorId}, {"PID", productId}}; }
    [[nodiscard]] bool isMeantBy(const QJsonObject &answer) const
    {
        const QJsonValue named = answer["device"];
        return named["VID"].toInt() == vendorId && named["PID"].toInt() == productId;
    }
};

Result<int> parseId(const QString &text)
{
    bool isNumber = false;
    const uint id = text.toUInt(&isNumber, 16);
    if (isNumber && !text.isEmpty() && id <= 0xFFFF)
        return int(id);
    return fail(Exit::Usage,
                QStringLiteral("\"%1\" is no hexadecimal ID from 0 to ffff").arg(text));
}

Result<HidName> parseName(const QString &text)
{
    const QStringList ids = text.split(':');
    if (ids.size() != 2)
        return fail(Exit::Usage, QStringLiteral("\"%1\" is no VID:PID").arg(text));
    const auto vendorId = parseId(ids.at(0));
    if (!vendorId)
        return vendorId.exit();
    const auto productId = parseId(ids.at(1));
    if (!productId)
        return productId.exit();
    return HidName{text, *vendorId, *productId};
}

/// Two digits a byte, with or without blanks between the bytes.
Result<QJsonArray> parseBytes(QString text)
{
    text.remove(' ');
    const QByteArray digits = text.toLatin1().toLower();
    const QByteArray bytes = QByteArray::fromHex(digits);
    if (bytes.isEmpty() || bytes.toHex() != digits)
        return fail(Exit::Usage, QStringLiteral("\"%1\" are no hexadecimal bytes").arg(text));
    QJsonArray numbers;
    for (const char byte : bytes)
        numbers.append(int(uchar(byte)));
    return numbers;
}

/// The bytes of an answer, which come without padding, two digits each.
QString spelled(const QJsonArray &data)
{
    QStringList bytes;
    for (const auto &byte : data)
        bytes.append(byte.toString().rightJustified(2, '0'));
    return bytes.join(' ');
}

Exit openDevice(Session &session, const HidName &name)
{
    session.wire.send("openHidDevice", {{{"device", name.device()}}});
    if (const Exit code = session.barrier(); code != Exit::Ok)
        return code;
    session.print(QStringLiteral("%1: asked to open").arg(name.text), {{"device", name.device()}});
    return Exit::Ok;
}

Exit closeDevice(Session &session, const HidName &name)
{
    const auto answer =
        session.ask("closeHidDevice", {{{"device", name.device()}}}, "deviceDidDisconnect",
                    [&](const QJsonObject &payload) { return name.isMeantBy(payload); });
    if (!answer)
        return answer.exit();
    session.print(QStringLiteral("%1: closed").arg(name.text), *answer);
    return Exit::Ok;
}

Exit writeData(Session &session, const HidName &name, const QJsonArray &data)
{
    const auto answer = session.ask(
        "writeDataToHidDevice", {{{"device", name.device()}, {"data", data}}}, "hidWriteResult",
        [&](const QJsonObject &payload) { return name.isMeantBy(payload); });
    if (!answer)
        return answer.exit();
    const int written = (*answer)["writeResult"].toInt();
    if (written < 0) {
        return fail(Exit::Refused,
                    QStringLiteral("%1: %2").arg(name.text, (*answer)["errorString"].toString()));
    }
    session.print(QStringLiteral("%1: %2 bytes written").arg(name.text).arg(written), *answer);
    return Exit::Ok;
}

Exit readReport(Session &session, const HidName &name)
{
    const auto answer = session.ask(
        "getInputReportFromHidDevice", {{{"device", name.device()}}}, "receivedFromGetInputReport",
        [&](const QJsonObject &payload) { return name.isMeantBy(payload); });
    if (!answer)
        return answer.exit();
    if ((*answer)["result"].toInt() < 0)
        return fail(Exit::Refused, QStringLiteral("%1: no input report").arg(name.text));
    session.print(spelled((*answer)["data"].toArray()), *answer);
    return Exit::Ok;
}
} // namespace

Exit hid(Session &session, const QStringList &arguments)
{
    const QString &action = arguments.at(0);
    const bool writes = action == "write";
    if (!writes && action != "open" && action != "close" && action != "read") {
        return fail(Exit::Usage,
                    QStringLiteral("\"%1\" is none of open, close, write and read").arg(action));
    }
    if (arguments.size() != (writes ? 3 : 2)) {
        return fail(Exit::Usage, writes ? QStringLiteral("write takes VID:PID and bytes")
                                        : action + QStringLiteral(" takes VID:PID alone"));
    }
    const auto name = parseName(arguments.at(1));
    if (!name)
        return name.exit();
    const Result<QJsonArray> data = writes ? parseBytes(arguments.at(2)) : QJsonArray();
    if (!data)
        return data.exit();
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    if (writes)
        return writeData(session, *name, *data);
    if (action == "open")
        return openDevice(session, *name);
    return action == "close" ? closeDevice(session, *name) : readReport(session, *name);
}

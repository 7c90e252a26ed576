#include "commandrows.h"

#include "common/tavoritypes.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdint>

namespace
{
enum class Type
{
    Text,
    TextOrOutput,
    Integer,
    Unsigned,
    Boolean,
    Object,
    Array,
    Route
};

struct Key
{
    QString name;
    Type type;
};

/// One command in one of its forms: what the payload always holds, and the keys that become the
/// signal's arguments.
struct Row
{
    QString command;
    QString signal;
    QList<Key> keys;
    QJsonObject fixed = {};
};

const Key deviceName{"deviceName", Type::Text};
const Key deviceID{"deviceID", Type::Text};
const Key deviceVolume{"deviceVolume", Type::Unsigned};

QList<Row> plainRows()
{
    const Key device{"device", Type::Object};
    const QList<Key> nameAndID{deviceName, deviceID};
    return {
        {"quitApp", "sigQuitApp", {}},
        {"getOutputDeviceInfos", "sigGetOutputDeviceInfos", {}},
        {"getInputDeviceInfos", "sigGetInputDeviceInfos", {}},
        {"increaseDeviceVolume",
         "sigIncreaseDeviceVolume",
         {deviceName, deviceID, {"singleStep", Type::Unsigned}}},
        {"decreaseDeviceVolume",
         "sigDecreaseDeviceVolume",
         {deviceName, deviceID, {"singleStep", Type::Unsigned}}},
        {"switchPersonalSynthesizerDevice", "sigSwitchPersonalSynthesizerDevice", nameAndID},
        {"addToPersonalSynthesizer",
         "sigAddToPersonalSynthesizer",
         {deviceName, deviceID, {"checked", Type::Boolean}}},
        {"switchStreamingSynthesizerDevice", "sigSwitchStreamingSynthesizerDevice", nameAndID},
        {"addToStreamingSynthesizer",
         "sigAddToStreamingSynthesizer",
         {deviceName, deviceID, {"checked", Type::Boolean}}},
        {"switchMicrophoneInputDevice", "sigSwitchMicrophoneInputDevice", nameAndID},
        {"setPersonalSynthesizerDeviceVolume",
         "sigSetPersonalSynthesizerDeviceVolume",
         {deviceName, deviceID, deviceVolume}},
        {"setPersonalSynthesizerDeviceMute",
         "sigSetPersonalSynthesizerDeviceMute",
         {deviceName, deviceID, {"mute", Type::Boolean}}},
        {"setStreamingSynthesizerDeviceVolume",
         "sigSetStreamingSynthesizerDeviceVolume",
         {deviceName, deviceID, deviceVolume}},
        {"setStreamingSynthesizerDeviceMute",
         "sigSetStreamingSynthesizerDeviceMute",
         {deviceName, deviceID, {"mute", Type::Boolean}}},
        {"openHidDevice", "sigOpenHidDevice", {device}},
        {"closeHidDevice", "sigCloseHidDevice", {device}},
        {"writeDataToHidDevice", "sigWriteDataToHidDevice", {device, {"data", Type::Array}}},
        {"getInputReportFromHidDevice", "sigGetInputReportFromHidDevice", {device}},
        {"setGamingChatMixEnable", "sigSetGamingChatMixEnable", {{"enable", Type::Boolean}}},
        {"setGamingChatMixProportion",
         "sigSetGamingChatMixProportion",
         {{"gaming", Type::Integer}, {"chat", Type::Integer}}},
        {"getAudioSessionInfos", "sigGetAudioSessionInfos", {}},
        {"getDeviceAudioSessionInfos", "sigGetDeviceAudioSessionInfos", {deviceID}},
        {"setAppDefaultAudioEndpoint",
         "sigSetAppDefaultAudioEndpoint",
         {{"appProcessID", Type::Integer},
          {"appName", Type::Text},
          {"audioEndpointID", Type::Text},
          {"fromAudioEndpointID", Type::Text},
          {"deviceType", Type::TextOrOutput}}},
        {"addOutputDevice", "sigAddOutputDevice", {{"outputDeviceName", Type::Text}}},
        {"removeOutputDevice", "sigRemoveOutputDevice", {{"outputDeviceName", Type::Text}}},
        {"addMemoryCheck", "sigAddMemoryCheck", {{"pid", Type::Unsigned}}},
    };
}

/// The commands whose "deviceType" chooses the signal: in every form of that key.
QList<Row> directedRows()
{
    struct Directed
    {
        QString command;
        QString output;
        QString input;
        QString other;
        QList<Key> keys;
    };
    const QList<Directed> commands{
        {"switchDevice",
         "sigSwitchOutputDevice",
         "sigSwitchInputDevice",
         "",
         {{"routeDeviceName", Type::Route}, deviceName, deviceID}},
        {"setCurrentDevice",
         "sigSetCurrentOutputDevice",
         "sigSetCurrentInputDevice",
         "",
         {deviceName, deviceID}},
        {"getDeviceMute",
         "sigGetOutputDeviceMute",
         "sigGetInputDeviceMute",
         "sigGetDeviceMute",
         {deviceName, deviceID}},
        {"setDeviceMute",
         "sigSetOutputDeviceMute",
         "sigSetInputDeviceMute",
         "sigSetDeviceMute",
         {deviceName, deviceID, {"deviceMute", Type::Boolean}}},
        {"getDeviceVolume",
         "sigGetOutputDeviceVolume",
         "sigGetInputDeviceVolume",
         "sigGetDeviceVolume",
         {deviceName, deviceID}},
        {"setDeviceVolume",
         "sigSetOutputDeviceVolume",
         "sigSetInputDeviceVolume",
         "sigSetDeviceVolume",
         {deviceName, deviceID, deviceVolume}},
    };
    const QList<QJsonObject> otherTypes{{},
                                        {{"deviceType", ""}},
                                        {{"deviceType", "OutputDevice"}},
                                        {{"deviceType", "outputDevice "}},
                                        {{"deviceType", 1}},
                                        {{"deviceType", QJsonArray{"inputDevice"}}},
                                        {{"deviceType", QJsonValue::Null}}};
    QList<Row> rows;
    for (const Directed &directed : commands) {
        rows.append(
            {directed.command, directed.output, directed.keys, {{"deviceType", "outputDevice"}}});
        rows.append(
            {directed.command, directed.input, directed.keys, {{"deviceType", "inputDevice"}}});
        for (const QJsonObject &fixed : otherTypes)
            rows.append({directed.command, directed.other, directed.keys, fixed});
    }
    return rows;
}

QJsonValue sample(Type type, const QString &keyName)
{
    switch (type) {
    case Type::Text:
    case Type::TextOrOutput:
        return QString(keyName + QStringLiteral(" 扬声器 {0.0.0.00000000}.{a}"));
    case Type::Integer:
    case Type::Unsigned:
        return 42;
    case Type::Boolean:
        return true;
    case Type::Object:
        return QJsonObject{{"VID", 1133}, {"usage", QJsonArray{1, "two"}}};
    case Type::Array:
        return QJsonArray{0, 255, "text", QJsonObject{{"k", 1}}};
    case Type::Route:
        return "tavori - Gaming (tavori Virtual Audio Device)";
    }
    return {};
}

/// The signal's argument for a value on the wire, told from the rules and not from the code.
QVariant expected(Type type, const QJsonValue &value)
{
    const double number = value.isDouble() ? value.toDouble() : 0;
    const bool isWhole =
        number == double(std::int64_t(number)) && number >= INT32_MIN && number <= INT32_MAX;
    const int integer = isWhole ? int(number) : 0;
    switch (type) {
    case Type::Text:
        return value.isString() ? value.toString() : QString();
    case Type::TextOrOutput:
        return value.isString() ? value.toString() : QStringLiteral("outputDevice");
    case Type::Integer:
        return integer;
    case Type::Unsigned:
        return quint32(integer);
    case Type::Boolean:
        return value.isBool() && value.toBool();
    case Type::Object:
        return value.isObject() ? value.toObject() : QJsonObject();
    case Type::Array:
        return value.isArray() ? value.toArray() : QJsonArray();
    case Type::Route:
        return QVariant::fromValue(value == sample(Type::Route, {}) ? tavoriGame : tavoriNoDevice);
    }
    return {};
}

QVariantList expectedArguments(const QList<Key> &keys, const QJsonObject &payload)
{
    QVariantList arguments;
    for (const Key &key : keys)
        arguments.append(expected(key.type, payload.value(key.name)));
    return arguments;
}

QString command(const QString &name, const QJsonValue &payload)
{
    QJsonObject document{{"event", name}};
    if (!payload.isUndefined())
        document.insert("payload", payload);
    return QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Compact));
}

/// Values for one key: one of each JSON type, and the numbers that are hard to convert.
const QList<QPair<QString, QJsonValue>> oddValues{
    {"missing", QJsonValue::Undefined},
    {"null", QJsonValue::Null},
    {"text", "a text"},
    {"empty text", ""},
    {"text of a number", "42"},
    {"true", true},
    {"false", false},
    {"zero", 0},
    {"fractional", 42.5},
    {"negative", -5},
    {"whole, written as 4.2e1", 42.0},
    {"largest int", 2147483647},
    {"smallest int", -2147483647 - 1},
    {"one above int", 2147483648.0},
    {"far above int", 1e30},
    {"object", QJsonObject{{"k", 1}}},
    {"array", QJsonArray{1, 2}},
};

void appendCases(QList<CommandCase> &cases, const Row &row)
{
    const QString type =
        row.fixed.isEmpty()
            ? QString()
            : QString::fromUtf8(QJsonDocument(row.fixed).toJson(QJsonDocument::Compact));
    const QString label = row.command + type + ": ";
    const auto append = [&](const QString &what, const QJsonObject &payload) {
        cases.append(
            {label + what, command(row.command, payload), row.signal,
             row.signal.isEmpty() ? QVariantList() : expectedArguments(row.keys, payload)});
    };

    QJsonObject whole = row.fixed;
    for (const Key &key : row.keys)
        whole.insert(key.name, sample(key.type, key.name));
    append("every key", whole);
    append("no key", row.fixed);
    for (const Key &key : row.keys) {
        for (const auto &[what, value] : oddValues) {
            QJsonObject payload = whole;
            if (value.isUndefined())
                payload.remove(key.name);
            else
                payload.insert(key.name, value);
            append(key.name + ' ' + what, payload);
        }
    }
    if (!row.fixed.isEmpty())
        return;
    const QVariantList defaults =
        row.signal.isEmpty() ? QVariantList() : expectedArguments(row.keys, {});
    for (const QJsonValue &payload :
         {QJsonValue(QJsonValue::Undefined), QJsonValue("text"), QJsonValue(1),
          QJsonValue(QJsonArray{whole}), QJsonValue(QJsonValue::Null)}) {
        cases.append({label + "payload of type " + QString::number(payload.type()),
                      command(row.command, payload), row.signal, defaults});
    }
}

void appendModeCases(QList<CommandCase> &cases)
{
    const QList<QPair<QString, QString>> commands{
        {"setControlMode", "sigSetControlMode"},
        {"finishSetControlMode", "sigFinishSetControlMode"}};
    for (const auto &[name, signal] : commands) {
        cases.append({name + ": NormalMode",
                      command(name, QJsonObject{{"mode", "NormalMode"}}),
                      signal,
                      {QVariant::fromValue(NormalMode)}});
        cases.append({name + ": StreamerMode",
                      command(name, QJsonObject{{"mode", "StreamerMode"}}),
                      signal,
                      {QVariant::fromValue(StreamerMode)}});
        for (const auto &[what, value] : oddValues) {
            cases.append(
                {name + ": mode " + what, command(name, QJsonObject{{"mode", value}}), "", {}});
        }
        cases.append(
            {name + ": other case", command(name, QJsonObject{{"mode", "normalMode"}}), "", {}});
        cases.append({name + ": no payload", command(name, QJsonValue::Undefined), "", {}});
    }
}

void appendRouteCases(QList<CommandCase> &cases)
{
    const QList<QPair<QString, tavoriDeviceType>> routes{
        {"tavori - Aux (tavori Virtual Audio Device)", tavoriAux},
        {"tavori - Aux2 (tavori Virtual Audio Device)", tavoriAux2},
        {"tavori - Aux3 (tavori Virtual Audio Device)", tavoriAux3},
        {"tavori - Browser (tavori Virtual Audio Device)", tavoriBrowser},
        {"tavori - Chat (tavori Virtual Audio Device)", tavoriChat},
        {"tavori - Gaming (tavori Virtual Audio Device)", tavoriGame},
        {"tavori - Media (tavori Virtual Audio Device)", tavoriMedia},
        {"tavori - Microphone (tavori Virtual Audio Device)", tavoriChatCapture},
        {"tavori - Stream (tavori Virtual Audio Device)", tavoriStream},
        {"tavori - Game (tavori Virtual Audio Device)", tavoriNoDevice},
        {"tavori - Gaming", tavoriNoDevice},
        {"Tavori - Gaming (tavori Virtual Audio Device)", tavoriNoDevice},
        {"tavori - Gaming (tavori Virtual Audio Device) ", tavoriNoDevice},
        {"", tavoriNoDevice},
    };
    for (const auto &[name, type] : routes) {
        for (const bool isOutput : {true, false}) {
            const QJsonObject payload{{"deviceType", isOutput ? "outputDevice" : "inputDevice"},
                                      {"routeDeviceName", name},
                                      {"deviceName", "n"},
                                      {"deviceID", "i"}};
            cases.append({(isOutput ? "output route: " : "input route: ") + name,
                          command("switchDevice", payload),
                          isOutput ? "sigSwitchOutputDevice" : "sigSwitchInputDevice",
                          {QVariant::fromValue(type), "n", "i"}});
        }
    }
}

void appendSilentCases(QList<CommandCase> &cases)
{
    const QJsonObject payload{{"deviceType", "outputDevice"}, {"deviceID", "i"}, {"pid", 1}};
    for (const char *name : {"getSettings", "setSettings", "getGlobalSettings", "setGlobalSettings",
                             "heartbeat", "getSystemUUID"}) {
        cases.append(
            {QString(name) + ": no payload", command(name, QJsonValue::Undefined), "", {}});
        cases.append({QString(name) + ": payload", command(name, payload), "", {}});
        cases.append({QString(name) + ": odd payload", command(name, QJsonArray{1}), "", {}});
    }
}
} // namespace

const QStringList &declaredSignals()
{
    static const QStringList declared{
        "sigQuitApp()",
        "sigGetOutputDeviceInfos()",
        "sigGetInputDeviceInfos()",
        "sigSetCurrentOutputDevice(QString deviceName, QString deviceID)",
        "sigSetCurrentInputDevice(QString deviceName, QString deviceID)",
        "sigSwitchOutputDevice(tavoriDeviceType deviceType, QString deviceName, QString deviceID)",
        "sigSwitchInputDevice(tavoriDeviceType deviceType, QString deviceName, QString deviceID)",
        "sigGetDeviceMute(QString deviceName, QString deviceID)",
        "sigSetDeviceMute(QString deviceName, QString deviceID, bool isMute)",
        "sigGetDeviceVolume(QString deviceName, QString deviceID)",
        "sigSetDeviceVolume(QString deviceName, QString deviceID, uint volume)",
        "sigGetInputDeviceMute(QString deviceName, QString deviceID)",
        "sigSetInputDeviceMute(QString deviceName, QString deviceID, bool isMute)",
        "sigGetInputDeviceVolume(QString deviceName, QString deviceID)",
        "sigSetInputDeviceVolume(QString deviceName, QString deviceID, uint volume)",
        "sigGetOutputDeviceMute(QString deviceName, QString deviceID)",
        "sigSetOutputDeviceMute(QString deviceName, QString deviceID, bool isMute)",
        "sigGetOutputDeviceVolume(QString deviceName, QString deviceID)",
        "sigSetOutputDeviceVolume(QString deviceName, QString deviceID, uint volume)",
        "sigIncreaseDeviceVolume(QString deviceName, QString deviceID, uint singleStep)",
        "sigDecreaseDeviceVolume(QString deviceName, QString deviceID, uint singleStep)",
        "sigSetControlMode(tavoriSoftwareMode mode)",
        "sigSwitchPersonalSynthesizerDevice(QString deviceName, QString deviceID)",
        "sigAddToPersonalSynthesizer(QString deviceName, QString deviceID, bool checked)",
        "sigSetPersonalSynthesizerDeviceVolume(QString deviceName, QString deviceID, uint volume)",
        "sigSetPersonalSynthesizerDeviceMute(QString deviceName, QString deviceID, bool mute)",
        "sigSwitchStreamingSynthesizerDevice(QString deviceName, QString deviceID)",
        "sigAddToStreamingSynthesizer(QString deviceName, QString deviceID, bool checked)",
        "sigSetStreamingSynthesizerDeviceVolume(QString deviceName, QString deviceID, uint volume)",
        "sigSetStreamingSynthesizerDeviceMute(QString deviceName, QString deviceID, bool mute)",
        "sigSwitchMicrophoneInputDevice(QString deviceName, QString deviceID)",
        "sigOpenHidDevice(QJsonObject deviceInfo)",
        "sigCloseHidDevice(QJsonObject deviceInfo)",
        "sigWriteDataToHidDevice(QJsonObject deviceInfo, QJsonArray dataArray)",
        "sigGetInputReportFromHidDevice(QJsonObject deviceInfo)",
        "sigSetGamingChatMixEnable(bool isEnable)",
        "sigSetGamingChatMixProportion(int gamingMixProportion, int chatMixProportion)",
        "sigGetAudioSessionInfos()",
        "sigGetDeviceAudioSessionInfos(QString deviceID)",
        "sigSetAppDefaultAudioEndpoint(int appProcessID, QString appName, QString audioEndpointID, "
        "QString fromAudioEndpointID, QString deviceType)",
        "sigAddOutputDevice(QString outputDeviceName)",
        "sigRemoveOutputDevice(QString outputDeviceName)",
        "sigFinishSetControlMode(tavoriSoftwareMode mode)",
        "sigAddMemoryCheck(uint pid)",
    };
    return declared;
}

const QStringList &commandNames()
{
    static const QStringList names{
        "heartbeat",
        "quitApp",
        "getSettings",
        "setSettings",
        "getGlobalSettings",
        "setGlobalSettings",
        "getOutputDeviceInfos",
        "getInputDeviceInfos",
        "switchDevice",
        "setCurrentDevice",
        "getDeviceMute",
        "setDeviceMute",
        "getDeviceVolume",
        "setDeviceVolume",
        "increaseDeviceVolume",
        "decreaseDeviceVolume",
        "setControlMode",
        "switchPersonalSynthesizerDevice",
        "addToPersonalSynthesizer",
        "switchStreamingSynthesizerDevice",
        "addToStreamingSynthesizer",
        "switchMicrophoneInputDevice",
        "setPersonalSynthesizerDeviceVolume",
        "setPersonalSynthesizerDeviceMute",
        "setStreamingSynthesizerDeviceVolume",
        "setStreamingSynthesizerDeviceMute",
        "openHidDevice",
        "closeHidDevice",
        "writeDataToHidDevice",
        "getInputReportFromHidDevice",
        "setGamingChatMixEnable",
        "setGamingChatMixProportion",
        "getAudioSessionInfos",
        "getDeviceAudioSessionInfos",
        "setAppDefaultAudioEndpoint",
        "addOutputDevice",
        "removeOutputDevice",
        "getSystemUUID",
        "finishSetControlMode",
        "addMemoryCheck",
    };
    return names;
}

QList<CommandCase> commandCases()
{
    QList<CommandCase> cases;
    for (const Row &row : plainRows() + directedRows())
        appendCases(cases, row);
    appendModeCases(cases);
    appendRouteCases(cases);
    appendSilentCases(cases);
    return cases;
}

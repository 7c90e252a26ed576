// Every command with what it must raise, and every payload that a client may get wrong.
#pragma once

#include <QJsonObject>
#include <QList>
#include <QVariant>

/// What a command raises for one text on the wire: `signal` empty for nothing.
struct CommandCase
{
    QString label;
    QString text;
    QString signal;
    QVariantList arguments;
};

/// All 44 signals in their declared order, with types and argument names.
[[nodiscard]] const QStringList &declaredSignals();
/// The names of all 40 commands in the order of the chain.
[[nodiscard]] const QStringList &commandNames();
/// Every command with every key present, missing, mistyped, fractional, negative and too large.
[[nodiscard]] QList<CommandCase> commandCases();

// The table of quorvanectl's verbs. A new verb is a row here and a function in its family's file.
#pragma once

#include "client/session.h"

#include <array>
#include <span>

struct Verb
{
    const char *name;
    /// For the usage line.
    const char *arguments;
    const char *summary;
    /// Shown by `--help` behind the verb.
    const char *help;
    int leastArguments;
    int mostArguments;
    /// Options beyond the common ones; unused places are null.
    std::array<const char *, 2> options;
    Exit (*run)(Session &session, const QStringList &arguments);
};

[[nodiscard]] std::span<const Verb> verbs();

Exit listOutputs(Session &session, const QStringList &arguments);
Exit listInputs(Session &session, const QStringList &arguments);
Exit routeChannel(Session &session, const QStringList &arguments);
Exit listApps(Session &session, const QStringList &arguments);
Exit moveApp(Session &session, const QStringList &arguments);
Exit setDefault(Session &session, const QStringList &arguments);
Exit volume(Session &session, const QStringList &arguments);
Exit mute(Session &session, const QStringList &arguments);
Exit louder(Session &session, const QStringList &arguments);
Exit softer(Session &session, const QStringList &arguments);
Exit addChannel(Session &session, const QStringList &arguments);
Exit removeChannel(Session &session, const QStringList &arguments);
Exit setMode(Session &session, const QStringList &arguments);
Exit personalMix(Session &session, const QStringList &arguments);
Exit streamingMix(Session &session, const QStringList &arguments);
Exit balance(Session &session, const QStringList &arguments);
Exit hid(Session &session, const QStringList &arguments);
Exit trimProcess(Session &session, const QStringList &arguments);
Exit sendCommand(Session &session, const QStringList &arguments);
Exit watchEvents(Session &session, const QStringList &arguments);
Exit quitProgram(Session &session, const QStringList &arguments);

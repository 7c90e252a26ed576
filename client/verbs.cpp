#include "client/verbs.h"

namespace
{
constexpr std::array<Verb, 9> table{{
    {"outputs",
     "",
     "list the outputs with their levels",
     "One line for each output: a star for the default, volume, mute, name, ID.\n"
     "With --json the program's own answer.\n",
     0,
     0,
     {},
     listOutputs},
    {"inputs",
     "",
     "list the inputs with their levels",
     "One line for each input: a star for the default, volume, mute, name, ID.\n"
     "With --json the program's own answer.\n",
     0,
     0,
     {},
     listInputs},
    {"route",
     "CHANNEL ENDPOINT",
     "play a channel on an output",
     "CHANNEL is one of the virtual endpoints that are shown now, by its word (\"Gaming\"), name "
     "or\n"
     "ID. The channel Microphone takes its sound from an input instead.\n"
     "The program reports no result of a route: success means that it has taken the command.\n",
     2,
     2,
     {},
     routeChannel},
    {"default",
     "ENDPOINT",
     "make an endpoint the system's default",
     "Succeeds when the program tells that the default is the endpoint asked for.\n",
     1,
     1,
     {"output", "input"},
     setDefault},
    {"volume",
     "ENDPOINT [PERCENT]",
     "tell or set an endpoint's volume",
     "PERCENT is a whole number from 0 to 100. Succeeds when the volume reads back as asked for.\n",
     1,
     2,
     {"output", "input"},
     volume},
    {"mute",
     "ENDPOINT [on|off]",
     "tell or set an endpoint's mute",
     "Succeeds when the mute reads back as asked for.\n",
     1,
     2,
     {"output", "input"},
     mute},
    {"send",
     "EVENT [JSON]",
     "send any command and show what comes back",
     "JSON is the payload, an object. The events that the program sends until it has taken the\n"
     "command are shown; --for goes on listening for what takes longer.\n",
     1,
     2,
     {"for"},
     sendCommand},
    {"watch",
     "",
     "show events as they come",
     "One line for each event, until Ctrl-C, --for or --count.\n",
     0,
     0,
     {"for", "count"},
     watchEvents},
    {"quit",
     "",
     "end the program",
     "Succeeds when the program has ended the connection.\n",
     0,
     0,
     {},
     quitProgram},
}};
} // namespace

std::span<const Verb> verbs()
{
    return table;
}

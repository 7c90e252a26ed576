// Shared enums of the virtual channels and the control mode.
#pragma once

#include <QtGlobal>

/// A virtual channel. The low byte is also the channel byte on the driver wire.
enum tavoriDeviceType : qint32
{
    tavoriNoDevice = 0,
    tavoriAux = 1,
    tavoriAux2 = 2,
    tavoriAux3 = 3,
    tavoriBrowser = 4,
    tavoriChat = 5,
    tavoriGame = 6,
    tavoriMedia = 7,
    tavoriChatCapture = 8,
    tavoriMicrophoneSpeaker = 9,
    tavoriStream = 10,
    tavoriStreamSpeaker = 11,
};

/// How the channels' sound leaves the program: one output a channel, or two mixes.
enum tavoriSoftwareMode : qint32
{
    NormalMode = 0,
    StreamerMode = 1,
};

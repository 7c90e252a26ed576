// Render and capture streams of a node.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

/// The node that a stream plays to or captures from.
struct StreamTarget
{
    QString nodeName;  ///< node.name on the server
    EDataFlow flow;    ///< eRender or eCapture
    UINT32 sampleRate; ///< of the node, in Hz
    WORD channels;     ///< of the node; the mix format has 8 at most
};

/// Makes a stream object, which is also an IAudioClient3. The server is not asked before
/// Initialize. E_POINTER or S_OK.
HRESULT createAudioClient(const StreamTarget &target, IAudioClient **client);

// How the mutes and volumes of an output combine into the one linear gain that its player is
// given. The player clamps to 0.0 .. 1.0; nothing here does.
#pragma once

/// The gain of an output that has one mute and one volume.
[[nodiscard]] inline float outputGain(bool muted, double volume)
{
    return muted ? 0.0f : static_cast<float>(volume);
}

/// What decides the gain of a streaming output.
struct StreamingLevel
{
    bool muted = false;
    double volume = 1.0;
    /// The next two count only for a player on the virtual Stream endpoint.
    bool speakerMuted = false;
    double speakerVolume = 1.0;
};

/// The gain of a streaming output; `onStreamEndpoint` tells whether its player is open on the
/// virtual Stream endpoint.
[[nodiscard]] inline float streamingGain(const StreamingLevel &level, bool onStreamEndpoint)
{
    if (!onStreamEndpoint)
        return outputGain(level.muted, level.volume);
    return outputGain(level.muted || level.speakerMuted, level.speakerVolume * level.volume);
}

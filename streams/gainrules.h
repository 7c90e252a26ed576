// How mutes, volumes, the stream speaker and the gaming and chat mix combine into the one linear
// gain that a player is given. The player clamps to 0.0 .. 1.0; nothing here does.
#pragma once

/// The factor that the gaming and chat mix puts on a volume: 0.0 at a proportion of -100, 1.0 at
/// 0, 2.0 at 100, with no clamp beyond; 1.0 while the mix is off.
[[nodiscard]] double mixFactor(bool enabled, int proportion);

/// The gain of an output that has one mute and one volume.
[[nodiscard]] float outputGain(bool muted, double volume);

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
[[nodiscard]] float streamingGain(const StreamingLevel &level, bool onStreamEndpoint);

#pragma once

// A short sound that the program plays by itself. Playing one that could not be loaded, or that
// has no device to play on, is silence.
class AlertSound {
public:
    virtual ~AlertSound() = default;
    virtual bool isLoaded() const = 0;
    virtual void setVolume(double volume) = 0;
    virtual void play() = 0;
};

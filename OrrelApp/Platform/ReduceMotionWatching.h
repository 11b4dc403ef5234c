#pragma once

#include <QObject>

// Whether the person asked the desktop for less motion; the surface then skips its animations.
class ReduceMotionWatching : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    virtual bool reduceMotion() const = 0;

Q_SIGNALS:
    void reduceMotionChanged(bool reduce);
};

// A preference set by hand, for tests and for views shown outside a desktop.
class FixedReduceMotion : public ReduceMotionWatching {
    Q_OBJECT

public:
    explicit FixedReduceMotion(bool reduce = false, QObject* parent = nullptr)
        : ReduceMotionWatching(parent), m_reduce(reduce)
    {
    }

    bool reduceMotion() const override { return m_reduce; }
    void setReduceMotion(bool reduce)
    {
        if (reduce == m_reduce)
            return;
        m_reduce = reduce;
        Q_EMIT reduceMotionChanged(reduce);
    }

private:
    bool m_reduce;
};

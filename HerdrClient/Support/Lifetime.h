#pragma once

#include <memory>

// What a coroutine that may outlive its object checks after each suspension: the object's end
// expires every guard taken from it. A copy of the object has a lifetime of its own.
class Lifetime {
public:
    class Guard {
    public:
        Guard() = default;
        explicit operator bool() const { return !m_token.expired(); }

    private:
        friend class Lifetime;
        explicit Guard(std::weak_ptr<const char> token) : m_token(std::move(token)) {}
        std::weak_ptr<const char> m_token;
    };

    Lifetime() = default;
    Lifetime(const Lifetime&) : Lifetime() {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): keeping its own token is the point.
    Lifetime& operator=(const Lifetime&) { return *this; }

    Guard guard() const { return Guard(m_token); }

private:
    std::shared_ptr<const char> m_token = std::make_shared<const char>('\0');
};

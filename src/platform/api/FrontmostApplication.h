#pragma once

// Answers whether one of our own windows is the one the user is typing into.
// Called on the keyboard monitor's thread.
class FrontmostApplication {
public:
    virtual ~FrontmostApplication() = default;
    virtual bool isOwnApplicationFrontmost() const = 0;
};

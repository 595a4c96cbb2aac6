#pragma once

#include "platform/api/ClipboardReader.h"
#include "platform/api/FrontmostApplication.h"

#include <QObject>
#include <QPointer>
#include <mutex>
#include <vector>

class FakeClipboard final : public ClipboardReader {
public:
    std::optional<QString> plainText() const override
    {
        std::lock_guard lock(m_lock);
        return m_text;
    }
    void setText(std::optional<QString> text)
    {
        std::lock_guard lock(m_lock);
        m_text = std::move(text);
    }

private:
    mutable std::mutex m_lock;
    std::optional<QString> m_text;
};

class FakeFrontmost final : public FrontmostApplication {
public:
    bool isOwnApplicationFrontmost() const override { return own.load(); }
    std::atomic<bool> own{false};
};

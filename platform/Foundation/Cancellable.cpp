// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Cancellable.h"

#include <utility>

namespace velmora {

Cancellable::Cancellable(std::function<void()> end)
    : end_(std::move(end))
{
}

Cancellable::Cancellable(Cancellable&& other) noexcept
    : end_(std::exchange(other.end_, nullptr))
{
}

Cancellable& Cancellable::operator=(Cancellable&& other) noexcept
{
    if (this == &other)
        return *this;

    cancel();
    end_ = std::exchange(other.end_, nullptr);
    return *this;
}

Cancellable::~Cancellable()
{
    cancel();
}

void Cancellable::cancel()
{
    if (const auto end = std::exchange(end_, nullptr))
        end();
}

void Cancellable::storeIn(std::vector<Cancellable>& bag) &&
{
    bag.push_back(std::move(*this));
}

}

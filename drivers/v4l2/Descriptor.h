// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace velmora::drivers::v4l2 {

/// An open device of the kernel.
class Descriptor {
public:
    /// Not open when that fails; errno says why.
    explicit Descriptor(const std::string& file);
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    /// Whether the device obeyed; errno says why not.
    bool call(unsigned long request, void* argument) const;

private:
    const int number_;
};

}

// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/Descriptor.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace velmora::drivers::v4l2 {

Descriptor::Descriptor(const std::string& file)
    : number_(open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC))
{
}

Descriptor::~Descriptor()
{
    if (isOpen())
        close(number_);
}

bool Descriptor::call(unsigned long request, void* argument) const
{
    int result = 0;
    do
        result = ioctl(number_, request, argument);
    while (result < 0 && errno == EINTR);
    return result >= 0;
}

}

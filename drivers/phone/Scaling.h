// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/phone/Picture.h"

namespace velmora::drivers::phone {

/// A part of a picture, in samples; corners may lie between samples.
struct Part {
    double x = 0, y = 0, width = 0, height = 0;
};

/// Fills `canvas` with a part of `channel`: sample for sample where the sizes agree, the mean of two by two for
/// exactly half the size, else by a Lanczos filter of three lobes, widened when it shrinks.
void scale(const Channel& channel, const Part& part, const Canvas& canvas);

}

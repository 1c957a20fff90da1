// SPDX-License-Identifier: Apache-2.0
#include <velmora/capture/QVImageOrientation.h>

#include <drivers/installDefaults.h>
#include <platform/Foundation/NSDate.h>

int main()
{
    velmora::drivers::installDefaults();
    const auto now = velmora::NSDate::date();
    return velmora::QVGetEXIFOrientationForUIImageOrientation(velmora::UIImageOrientationRight) == 6
            && now->timeIntervalSinceReferenceDate() > 0
        ? 0
        : 1;
}

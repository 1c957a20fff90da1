// SPDX-License-Identifier: Apache-2.0
#include <drivers/installDefaults.h>
#include <platform/Foundation/NSDate.h>
#include <velmora/capture/QVImageOrientation.h>

int main()
{
    velmora::drivers::installDefaults();
    const auto now = velmora::NSDate::date();
    return velmora::QVGetEXIFOrientationForUIImageOrientation(velmora::UIImageOrientationRight) == 6
            && now->timeIntervalSinceReferenceDate() > 0
        ? 0
        : 1;
}

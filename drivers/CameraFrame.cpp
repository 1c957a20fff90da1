// SPDX-License-Identifier: Apache-2.0
#include "drivers/CameraFrame.h"

#include <linux/dma-buf.h>
#include <sys/ioctl.h>

namespace velmora::drivers::cameras {

bool lay(CameraPicture& picture, const Negotiated& format, const std::vector<FramePiece>& pieces)
{
    picture.layout = format.layout;
    picture.width = format.size.width;
    picture.height = format.size.height;
    picture.bits = format.bits;
    picture.videoRange = format.videoRange;
    if (pieces.empty() || !pieces[0].data)
        return false;
    if (picture.layout == CameraLayout::JPEG) {
        picture.planes[0].data = pieces[0].data;
        picture.size = pieces[0].size;
        return picture.size > 0;
    }
    const auto shapes = planeShapes(picture.layout, picture.width, picture.height, picture.bits);
    const bool inPieces = pieces.size() >= shapes.size() && shapes.size() > 1;
    std::size_t used = 0;
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        const FramePiece& piece = pieces[inPieces ? i : 0];
        if (!piece.data)
            return false;
        const std::size_t own = piece.stride > 0 ? piece.stride : shapes[i].rowBytes;
        const std::size_t stride = i == 0 || inPieces ? own : planeStride(picture.layout, i, picture.planes[0].stride);
        if (inPieces)
            used = 0;
        const auto rows = static_cast<std::size_t>(shapes[i].rows);
        if (stride < shapes[i].rowBytes || used + (rows - 1) * stride + shapes[i].rowBytes > piece.size)
            return false;
        picture.planes[i] = { piece.data + used, stride };
        used += rows * stride;
    }
    return true;
}

void tellReading(int dmaBuf, bool begins)
{
    dma_buf_sync sync { static_cast<__u64>(DMA_BUF_SYNC_READ | (begins ? DMA_BUF_SYNC_START : DMA_BUF_SYNC_END)) };
    ioctl(dmaBuf, DMA_BUF_IOCTL_SYNC, &sync);
}

}

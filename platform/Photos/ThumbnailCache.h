// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

namespace velmora {

class CGImage;

/// Small pictures of files, kept where all programs of the desktop keep theirs: $XDG_CACHE_HOME/thumbnails, as the
/// freedesktop.org specification of thumbnails says. From any thread; what cannot be read or kept is none.
class ThumbnailCache {
public:
    /// The sizes that the desktop knows: the longer side in pixels.
    static constexpr int sizes[] { 128, 256, 512, 1024 };
    /// The smallest of them that has `longerSide`; 0 where none has.
    static int sizeFor(int longerSide);

    struct Found {
        std::shared_ptr<const CGImage> image;
        bool isLargeEnough = false;
    };
    /// The smallest that has `longerSide`, or the photo's own size; else the largest that there is. It is of the file
    /// as it is now.
    static Found find(const std::string& file, int longerSide);
    /// Keeps a picture whose longer side is at most one of the sizes.
    static void keep(const std::string& file, const CGImage& image);
};

}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <memory>
#include <string>

namespace velmora {

/// The place of a file.
class VELMORA_EXPORT NSURL : public NSObject {
public:
    static std::shared_ptr<NSURL> fileURLWithPath(std::string path);
    explicit NSURL(std::string path);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& path() const { return path_; }
    std::string lastPathComponent() const;
    std::string absoluteString() const; ///< "file:///...", percent-escaped.
    bool isEqual(const NSObject* other) const override;
    std::string description() const override { return absoluteString(); }

private:
    std::string path_;
};

/// A folder for files that nobody misses later: $TMPDIR, else the system's; made when missing. Ends in "/".
VELMORA_EXPORT std::string NSTemporaryDirectory();

}

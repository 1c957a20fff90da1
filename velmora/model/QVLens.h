// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/model/QVLensType.h"

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace velmora {

class AVCaptureDevice;

/// One camera of the device: where it faces, what kind it is, what it can do.
///
/// The catalogue is made once for the process, at the first question, and never changes afterwards; its lenses are
/// shared. Questions may be asked on any thread. Only the catalogue makes lenses.
class VELMORA_EXPORT QVLens : public NSObject {
public:
    /// What a lens can do: a set over a 64-bit number. Bits without a name are kept.
    struct LensAttributes {
        std::int64_t rawValue = 0;

        /// At least one of the camera's formats delivers depth.
        static const LensAttributes depthCapture;

        constexpr LensAttributes() = default;
        constexpr explicit LensAttributes(std::int64_t raw)
            : rawValue(raw)
        {
        }
        constexpr LensAttributes(std::initializer_list<LensAttributes> members)
        {
            for (const LensAttributes& member : members)
                rawValue |= member.rawValue;
        }

        constexpr bool isEmpty() const { return rawValue == 0; }
        constexpr bool contains(LensAttributes other) const { return (other.rawValue & ~rawValue) == 0; }
        constexpr LensAttributes unionWith(LensAttributes o) const { return LensAttributes(rawValue | o.rawValue); }
        constexpr LensAttributes intersection(LensAttributes o) const { return LensAttributes(rawValue & o.rawValue); }
        constexpr LensAttributes symmetricDifference(LensAttributes o) const
        {
            return LensAttributes(rawValue ^ o.rawValue);
        }
        constexpr LensAttributes subtracting(LensAttributes o) const { return LensAttributes(rawValue & ~o.rawValue); }
        constexpr void formUnion(LensAttributes o) { rawValue |= o.rawValue; }
        constexpr void formIntersection(LensAttributes o) { rawValue &= o.rawValue; }
        constexpr void formSymmetricDifference(LensAttributes o) { rawValue ^= o.rawValue; }
        constexpr void subtract(LensAttributes o) { rawValue &= ~o.rawValue; }
        constexpr bool isSubset(LensAttributes of) const { return of.contains(*this); }
        constexpr bool isSuperset(LensAttributes of) const { return contains(of); }
        constexpr bool isStrictSubset(LensAttributes of) const { return isSubset(of) && rawValue != of.rawValue; }
        constexpr bool isStrictSuperset(LensAttributes of) const { return isSuperset(of) && rawValue != of.rawValue; }
        constexpr bool isDisjoint(LensAttributes with) const { return (rawValue & with.rawValue) == 0; }

        /// Whether it was added, and the member that is in the set afterwards.
        constexpr std::pair<bool, LensAttributes> insert(LensAttributes member)
        {
            const LensAttributes before = intersection(member);
            if (before == member)
                return { false, before };
            formUnion(member);
            return { true, member };
        }
        /// What of `member` was in the set; nothing when none of it was.
        constexpr std::optional<LensAttributes> remove(LensAttributes member)
        {
            const LensAttributes before = intersection(member);
            subtract(member);
            return before.isEmpty() ? std::nullopt : std::optional(before);
        }
        /// Adds `member`; answers what of it was in the set before, nothing when none of it was.
        constexpr std::optional<LensAttributes> update(LensAttributes member)
        {
            const LensAttributes before = intersection(member);
            formUnion(member);
            return before.isEmpty() ? std::nullopt : std::optional(before);
        }

        constexpr bool operator==(const LensAttributes&) const = default;
    };

    using Lenses = std::vector<std::shared_ptr<QVLens>>;

    QVLens() = delete;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// All lenses: those in front first, then those at the back, each group in the device's order.
    static Lenses availableLenses();
    static Lenses availableLenses(AVCaptureDevicePosition position);
    static bool hasAvailableLens(AVCaptureDevicePosition position);
    /// Those that have every attribute asked for; an empty request matches every lens. Filters never reorder.
    static Lenses availableLenses(LensAttributes attributes);
    static bool hasAvailableLens(LensAttributes attributes);
    static Lenses availableLenses(LensAttributes attributes, AVCaptureDevicePosition position);
    static bool hasAvailableLens(LensAttributes attributes, AVCaptureDevicePosition position);
    static Lenses availableLenses(LensAttributes attributes, AVCaptureDevicePosition position, QVLensType type);
    static bool hasAvailableLens(LensAttributes attributes, AVCaptureDevicePosition position, QVLensType type);

    /// The camera's own position, whichever it was found at.
    AVCaptureDevicePosition position() const { return position_; }
    QVLensType lensType() const { return lensType_; }
    const std::shared_ptr<AVCaptureDevice>& captureDevice() const { return captureDevice_; }

    /// Found out at the first question from the camera's formats, then kept.
    LensAttributes attributes() const;
    /// Replaces what is kept; it stays for the process's life.
    void setAttributes(LensAttributes attributes);

private:
    friend class LensCatalogue;
    struct Key { }; // only the catalogue can name one

public:
    QVLens(Key key, AVCaptureDevicePosition position, QVLensType type, std::shared_ptr<AVCaptureDevice> device);

private:
    const AVCaptureDevicePosition position_;
    const QVLensType lensType_;
    const std::shared_ptr<AVCaptureDevice> captureDevice_;
    mutable std::mutex mutex_; // guards attributes_
    mutable std::optional<LensAttributes> attributes_;
};

inline constexpr QVLens::LensAttributes QVLens::LensAttributes::depthCapture { 1 };

}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGColor.h"
#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/Export.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velmora {

class CGContext;

/// Which letters. The families of the system are tried in order, so that every language has its letters.
struct VELMORA_EXPORT CGFont {
    double size = 17; ///< points
    int weight = 400; ///< 100 to 900; 400 is regular, 700 bold
    bool italic = false;
    std::string family {}; ///< empty: the system's
    bool operator==(const CGFont&) const = default;

    double ascender() const; ///< points above the base line
    double descender() const; ///< points below it, a negative number
    double lineHeight() const; ///< points from line to line
};

enum CGTextAlignment : std::int64_t {
    CGTextAlignmentLeft = 0,
    CGTextAlignmentCenter = 1,
    CGTextAlignmentRight = 2,
    CGTextAlignmentJustified = 3,
    CGTextAlignmentNatural = 4,
};

enum CGLineBreakMode : std::int64_t {
    CGLineBreakByWordWrapping = 0,
    CGLineBreakByCharWrapping = 1,
    CGLineBreakByClipping = 2,
    CGLineBreakByTruncatingHead = 3,
    CGLineBreakByTruncatingTail = 4,
    CGLineBreakByTruncatingMiddle = 5,
};

/// What a text is laid out by.
struct CGTextStyle {
    CGFont font {};
    CGTextAlignment alignment = CGTextAlignmentNatural;
    CGLineBreakMode lineBreak = CGLineBreakByTruncatingTail;
    double width = 0; ///< points to break lines at; 0: as wide as the text
    int lines = 0; ///< the most that are shown, the last one shortened; 0: all
    bool operator==(const CGTextStyle&) const = default;
};

/// A text in its lines, measured and ready to be drawn. UTF-8; bytes that are none show as U+FFFD. The letters of
/// Chinese and Japanese follow NSLocale. One thread at a time.
class VELMORA_EXPORT CGTextLayout {
public:
    explicit CGTextLayout(const std::string& text, const CGTextStyle& style = {});

    /// Points. The width is that of the longest line, not of the style.
    CGSize size() const;
    double firstBaseline() const; ///< points below the top
    int lineCount() const;
    /// In the context's fill colour; `origin` is the top left of the layout, as wide as the style says.
    void draw(CGContext& context, CGPoint origin) const;

private:
    struct Lines;
    std::shared_ptr<Lines> lines_;
};

}

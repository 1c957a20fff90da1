// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreGraphics/CGTextLayout.h"

#include "platform/CoreGraphics/CGContextSurface.h"
#include "platform/Foundation/NSLocale.h"

#include <pango/pangocairo.h>

#include <cmath>
#include <cstddef>
#include <string>

namespace velmora {

namespace {

/// The first is on every machine that installed what the project needs; the others lend the letters it lacks, in the
/// shapes that the reader's language gives them.
std::string systemFamilies()
{
    const std::string eastern = NSLocale::currentLocale()->languageCode() == "ja" ? "JP" : "SC";
    return "DejaVu Sans, Noto Sans CJK " + eastern + ", Droid Sans Fallback, sans-serif";
}

template <class T> class Reference {
public:
    explicit Reference(T* object)
        : object_(object)
    {
    }
    ~Reference() { g_object_unref(object_); }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;
    T* get() const { return object_; }

private:
    T* object_;
};

/// Letters look the same at every place and on every machine: no hinting, no colour fringes, no rounding to pixels.
PangoContext* plainContext()
{
    // Of our own, at one point a unit: the system's font map changes its resolution with the desktop's settings.
    static PangoFontMap* map = [] {
        PangoFontMap* made = pango_cairo_font_map_new();
        pango_cairo_font_map_set_resolution(reinterpret_cast<PangoCairoFontMap*>(made), 72);
        return made;
    }();
    PangoContext* context = pango_font_map_create_context(map);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(context, options);
    cairo_font_options_destroy(options);
    pango_context_set_round_glyph_positions(context, FALSE);
    const auto& languages = NSLocale::currentLocale()->languages();
    pango_context_set_language(context, pango_language_from_string(languages.front().c_str()));
    return context;
}

PangoFontDescription* describe(const CGFont& font)
{
    PangoFontDescription* description = pango_font_description_new();
    pango_font_description_set_family(description, (font.family.empty() ? systemFamilies() : font.family).c_str());
    pango_font_description_set_absolute_size(description, std::round(font.size * PANGO_SCALE));
    pango_font_description_set_weight(description, static_cast<PangoWeight>(font.weight));
    pango_font_description_set_style(description, font.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    return description;
}

struct Metrics {
    double ascent, descent, height;
};

Metrics metricsOf(const CGFont& font)
{
    const Reference context(plainContext());
    PangoFontDescription* description = describe(font);
    PangoFontMetrics* metrics = pango_context_get_metrics(context.get(), description, nullptr);
    const Metrics result { pango_units_to_double(pango_font_metrics_get_ascent(metrics)),
        pango_units_to_double(pango_font_metrics_get_descent(metrics)),
        pango_units_to_double(pango_font_metrics_get_height(metrics)) };
    pango_font_metrics_unref(metrics);
    pango_font_description_free(description);
    return result;
}

PangoAlignment alignmentOf(const CGTextStyle& style)
{
    switch (style.alignment) {
    case CGTextAlignmentCenter:
        return PANGO_ALIGN_CENTER;
    case CGTextAlignmentRight:
        return PANGO_ALIGN_RIGHT;
    default:
        return PANGO_ALIGN_LEFT;
    }
}

PangoEllipsizeMode shorteningOf(CGLineBreakMode mode)
{
    switch (mode) {
    case CGLineBreakByTruncatingHead:
        return PANGO_ELLIPSIZE_START;
    case CGLineBreakByTruncatingTail:
        return PANGO_ELLIPSIZE_END;
    case CGLineBreakByTruncatingMiddle:
        return PANGO_ELLIPSIZE_MIDDLE;
    default:
        return PANGO_ELLIPSIZE_NONE;
    }
}

std::string validText(const std::string& text)
{
    gchar* valid = g_utf8_make_valid(text.c_str(), static_cast<gssize>(text.size()));
    std::string result = valid;
    g_free(valid);
    return result;
}

}

double CGFont::ascender() const
{
    return metricsOf(*this).ascent;
}

double CGFont::descender() const
{
    return -metricsOf(*this).descent;
}

double CGFont::lineHeight() const
{
    return metricsOf(*this).height;
}

struct CGTextLayout::Lines {
    explicit Lines(PangoLayout* made)
        : layout(made)
    {
    }
    Reference<PangoLayout> layout;
};

CGTextLayout::CGTextLayout(const std::string& text, const CGTextStyle& style)
{
    const Reference context(plainContext());
    lines_ = std::make_shared<Lines>(pango_layout_new(context.get()));
    PangoLayout* layout = lines_->layout.get();
    PangoFontDescription* description = describe(style.font);
    pango_layout_set_font_description(layout, description);
    pango_font_description_free(description);

    const std::string valid = validText(text);
    pango_layout_set_text(layout, valid.c_str(), static_cast<int>(valid.size()));
    pango_layout_set_alignment(layout, alignmentOf(style));
    pango_layout_set_justify(layout, style.alignment == CGTextAlignmentJustified);
    pango_layout_set_auto_dir(layout, style.alignment == CGTextAlignmentNatural);
    pango_layout_set_wrap(
        layout, style.lineBreak == CGLineBreakByCharWrapping ? PANGO_WRAP_CHAR : PANGO_WRAP_WORD_CHAR);
    const bool shortens = style.width > 0 && style.lines > 0;
    if (shortens) {
        pango_layout_set_ellipsize(layout, shorteningOf(style.lineBreak));
        pango_layout_set_height(layout, -style.lines);
    }
    if (style.width > 0) // up, or a text would not fit the width that it was measured to have
        pango_layout_set_width(layout, static_cast<int>(std::ceil(style.width * PANGO_SCALE)));
}

CGSize CGTextLayout::size() const
{
    PangoRectangle logical;
    pango_layout_get_extents(lines_->layout.get(), nullptr, &logical);
    return { pango_units_to_double(logical.width), pango_units_to_double(logical.height) };
}

double CGTextLayout::firstBaseline() const
{
    return pango_units_to_double(pango_layout_get_baseline(lines_->layout.get()));
}

int CGTextLayout::lineCount() const
{
    return pango_layout_get_line_count(lines_->layout.get());
}

void CGTextLayout::draw(CGContext& context, CGPoint origin) const
{
    cairo_t* cairo = context.surface_->cairo;
    const CGColor color = context.fillColor();
    context.note(color);
    cairo_save(cairo);
    cairo_new_path(cairo);
    cairo_set_source_rgba(cairo, color.red, color.green, color.blue, color.alpha);
    cairo_move_to(cairo, origin.x, origin.y);
    pango_cairo_show_layout(cairo, lines_->layout.get());
    cairo_new_path(cairo);
    cairo_restore(cairo);
}

}

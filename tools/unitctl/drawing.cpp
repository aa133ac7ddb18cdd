#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "tools/unitctl/families.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace tools::unitctl {

namespace {

/// What the options of all drawing commands set, in the context that is current then.
struct style_t {
    std::optional<std::size_t> context;
    std::optional<std::string> font;
    std::vector<int> viewport;
    std::optional<std::string> mode;
};

struct mode_name_t {
    std::string_view name;
    std::uint32_t bits;
};
// One that holds another's bits stands before it.
constexpr std::array mode_names{
    mode_name_t{"plain", 0},
    mode_name_t{"inverse", io::drawing_mode::inverse},
    mode_name_t{"no-wrap", io::drawing_mode::no_wrap},
    mode_name_t{"no-wrap-at-bottom", io::drawing_mode::no_wrap_at_bottom},
    mode_name_t{"centre", io::drawing_mode::align_centre},
    mode_name_t{"left", io::drawing_mode::align_left},
    mode_name_t{"right", io::drawing_mode::align_right},
    mode_name_t{"every-line", io::drawing_mode::align_every_line},
    mode_name_t{"middle", io::drawing_mode::align_middle},
    mode_name_t{"top", io::drawing_mode::align_top},
    mode_name_t{"bottom", io::drawing_mode::align_bottom},
};
constexpr const char* mode_help = "Joined by commas: inverse, no-wrap, no-wrap-at-bottom, left, right, "
                                  "centre, every-line (right and centre "
                                  "do that anyway), top, bottom, middle; or plain";

struct font_name_t {
    std::string_view name;
    const io::font_t* font;
};
const std::array font_names{font_name_t{"default", &io::default_font}, font_name_t{"title", &io::title_font},
                            font_name_t{"text", &io::text_font}};

std::uint32_t mode_of(std::string_view text) {
    std::uint32_t mode = 0;
    while (!text.empty()) {
        const auto word = text.substr(0, text.find(','));
        const auto* const found = std::ranges::find(mode_names, word, &mode_name_t::name);
        if (found == mode_names.end()) {
            throw CLI::ValidationError{"there is no drawing mode \"" + std::string{word} + "\""};
        }
        mode |= found->bits;
        text.remove_prefix(std::min(text.size(), word.size() + 1));
    }
    return mode;
}

std::string name_of(std::uint32_t mode) {
    std::string text;
    for (const auto& [name, bits] : mode_names) {
        if (bits != 0 && (mode & bits) == bits) {
            text += (text.empty() ? "" : ",") + std::string{name};
            mode &= ~bits;
        }
    }
    return text.empty() ? "plain" : text;
}

const io::font_t* font_of(std::string_view name) {
    const auto* const found = std::ranges::find(font_names, name, &font_name_t::name);
    if (found == font_names.end()) {
        throw CLI::ValidationError{"there is no font \"" + std::string{name} + "\""};
    }
    return found->font;
}

/// The LCD, ready to draw in this style. The font first: a viewport puts the cursor where its first line is.
io::graphics_t& styled(session_t& session, const style_t& style) {
    static_cast<void>(session.lcd_is_page_stations());
    auto& lcd = io::graphics();
    if (style.context && !lcd.select_context(*style.context)) {
        throw refusal_t{"there are five contexts, 0 to 4"};
    }
    if (style.font) {
        lcd.select_font(font_of(*style.font));
    }
    if (!style.viewport.empty()) {
        lcd.set_viewport(style.viewport[0], style.viewport[1], style.viewport[2], style.viewport[3]);
    }
    if (style.mode) {
        lcd.set_mode(mode_of(*style.mode));
    }
    return lcd;
}

/// Draws in this style, and sees to it that the glass has it.
template <typename draw_t>
void draw_styled(session_t& session, const style_t& style, const draw_t& draw) {
    draw(styled(session, style));
    session_t::require_shown();
}

using style_pointer_t = std::shared_ptr<style_t>;

style_pointer_t add_style(CLI::App& draw) {
    auto style = std::make_shared<style_t>();
    draw.add_option("--context", style->context, "One of the five drawing contexts, 0 to 4 (0)")
        ->transform(decimal_unless_0x());
    draw.add_option("--viewport", style->viewport, "Left, top, right, bottom, as all coordinates are counted")
        ->expected(4)
        ->transform(decimal_unless_0x());
    draw.add_option("--font", style->font, "default (8 x 8), title (8 x 13) or text (8 x 16)");
    draw.add_option("--mode", style->mode, mode_help);
    return style;
}

void add_shapes(CLI::App& draw, session_t& session, const style_pointer_t& style) {
    using pattern_t = std::optional<std::uint16_t>;
    constexpr operand_t pattern{"PATTERN",
                                "0xFFFF ink, 0 paper; high byte on even lines, low byte on odd ones"};
    constexpr operand_t from_x{"X0", "0 to 239: left or right edge"};
    constexpr operand_t from_y{"Y0", "0 to 63: upper or lower edge"};
    constexpr operand_t to_x{"X1", "The opposite edge"};
    constexpr operand_t to_y{"Y1", "The opposite edge"};
    add_command<int, int, pattern_t>(draw, "pixel", "Draws a point",
                                     {{{"X", "0 to 239"}, {"Y", "0 to 63"}, pattern}},
                                     [&session, style](int x, int y, const pattern_t& with) {
                                         draw_styled(session, *style, [&](io::graphics_t& lcd) {
                                             lcd.fill_rect(x, y, x, y, with.value_or(io::graphics_t::ink));
                                         });
                                     });
    add_command<int, int>(draw, "move", "Puts the pen down at a point, in a script",
                          {{{"X", "0 to 239"}, {"Y", "0 to 63"}}},
                          [&session, style](int x, int y) { styled(session, *style).move_to(x, y); });
    add_command<std::vector<int>>(
        draw, "line", "Draws from point to point; with one point from where the pen stands",
        {{{"POINTS", "X Y X Y ..."}}}, [&session, style](const std::vector<int>& points) {
            if (points.empty() || points.size() % 2 != 0) {
                throw CLI::ValidationError{"POINTS", "a line goes from X Y to X Y, and on to further points"};
            }
            draw_styled(session, *style, [&](io::graphics_t& lcd) {
                std::size_t at = 0;
                if (points.size() > 2) {
                    lcd.move_to(points[0], points[1]);
                    at = 2;
                }
                for (; at < points.size(); at += 2) {
                    lcd.line_to(points[at], points[at + 1]);
                }
            });
        });
    add_command<int, int, int, int>(
        draw, "rectangle", "Draws an outline", {{from_x, from_y, to_x, to_y}},
        [&session, style](int x0, int y0, int x1, int y1) {
            draw_styled(session, *style, [&](io::graphics_t& lcd) { lcd.rect_outline(x0, y0, x1, y1); });
        });
    add_command<int, int, int, int, pattern_t>(
        draw, "fill", "Fills a rectangle", {{from_x, from_y, to_x, to_y, pattern}},
        [&session, style](int x0, int y0, int x1, int y1, const pattern_t& with) {
            draw_styled(session, *style, [&](io::graphics_t& lcd) {
                lcd.fill_rect(x0, y0, x1, y1, with.value_or(io::graphics_t::ink));
            });
        });
}

void add_writing(CLI::App& draw, session_t& session, const style_pointer_t& style) {
    struct place_t {
        std::vector<int> pixel;
        std::vector<int> cell;
    };
    const auto place = std::make_shared<place_t>();
    auto& text =
        add_command<std::string>(draw, "text", "Writes a text, at the cursor unless it says where",
                                 {{{"TEXT", "UTF-8"}}}, [&session, style, place](const std::string& words) {
                                     draw_styled(session, *style, [&](io::graphics_t& lcd) {
                                         if (!place->pixel.empty()) {
                                             lcd.set_pixel_pos(place->pixel[0], place->pixel[1]);
                                         } else if (!place->cell.empty()) {
                                             lcd.set_text_pos(place->cell[0], place->cell[1]);
                                         }
                                         lcd.draw_string(words);
                                     });
                                 });
    auto* const at = text.add_option("--at", place->pixel, "X Y: left edge and bottom line")
                         ->expected(2)
                         ->transform(decimal_unless_0x());
    text.add_option("--cell", place->cell, "Column and row, in cells of the font")
        ->expected(2)
        ->excludes(at)
        ->transform(decimal_unless_0x());

    const auto extent = std::make_shared<std::string>("line");
    add_command<std::string>(draw, "width", "Prints how many pixels wide a text is", {{{"TEXT", "UTF-8"}}},
                             [&session, style, extent](const std::string& words) {
                                 const auto up_to = *extent == "word"   ? io::text_extent_e::to_word_end
                                                    : *extent == "line" ? io::text_extent_e::to_line_end
                                                                        : io::text_extent_e::widest_of_lines;
                                 std::printf("%d\n", styled(session, *style).text_width(words, up_to));
                             })
        .add_option("--of", *extent, "Of its first line, its first word, or the widest of all its lines")
        ->check(CLI::IsMember({"line", "word", "lines"}));
}

}  // namespace

void add_drawing_commands(CLI::App& lcd, session_t& session) {
    auto& draw = add_group(lcd, "draw", "Lines, rectangles, patterns and texts, anywhere");
    draw.footer(
        "--context, --viewport, --font and --mode (lcd draw --help) go with every one of these commands\nand "
        "stay for the following commands of a script. What a command changed goes to the "
        "glass as "
        "the\nrectangle around it; what another process had drawn in there is paper then.\n"
        "A text that begins with \"-\" goes behind \"--\".");
    const auto style = add_style(draw);
    add_shapes(draw, session, style);
    add_writing(draw, session, style);
    add_command<std::string>(draw, "mode",
                             "Sets the current context's mode and prints the one before, in a script",
                             {{{"MODE", mode_help}}}, [&session, style](const std::string& mode) {
                                 const auto before = styled(session, *style).set_mode(mode_of(mode));
                                 std::puts(name_of(before).c_str());
                             });
    add_command(draw, "hold", "Keeps what is drawn from the glass, in a script", {}, [&session, style] {
        if (!styled(session, *style).begin_update()) {
            std::puts("it is held already");
        }
    });
    add_command(draw, "send", "Sends what was held, and holds no longer", {}, [&session, style] {
        draw_styled(session, *style, [](io::graphics_t& glass) {
            if (glass.end_update()) {
                std::puts("nothing was held");
            }
        });
    });
    add_command(draw, "reset", "Makes all contexts as they were: whole screen, default font, plain", {},
                [&session] {
                    static_cast<void>(session.lcd_is_page_stations());
                    return io::graphics().init_graphics();
                });
}

}  // namespace tools::unitctl

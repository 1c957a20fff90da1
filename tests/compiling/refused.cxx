// SPDX-License-Identifier: Apache-2.0
// Misuse that must not compile. CASE 0 is the same use without a mistake.
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSObject.h"
#include "platform/Foundation/OptionSet.h"

#include <cstdint>

namespace velmora {

enum Topping : std::uint8_t { ToppingCheese = 1 };
template <> inline constexpr bool isOptionSet<Topping> = true;

class Lamp : public NSObject {
public:
    void light() { }
    void dim() { }
};

void use([[maybe_unused]] double level)
{
#if CASE == 0
    NSLog("[Lamp] %f %i %li %@ 5%%", level, 1, 2L, "text");
    constexpr auto methods = methodTable(method<&Lamp::light>("light"), method<&Lamp::dim>("dim"));
    static_assert(methods.size() == 2);
    static_assert(contains(ToppingCheese, ToppingCheese));
#elif CASE == 1
    NSLog("[Lamp] %f", level, level);
#elif CASE == 2
    NSLog("[Lamp] %f %f", level);
#elif CASE == 3
    NSLog("[Lamp] %i", level);
#elif CASE == 4
    NSLog("[Lamp] %f", 1);
#elif CASE == 5
    NSLog("[Lamp] %d", 1);
#elif CASE == 6
    const std::string text = "[Lamp]";
    NSLog(text.c_str());
#elif CASE == 7
    constexpr auto methods = methodTable(method<&Lamp::light>("light"), method<&Lamp::dim>("light"));
    static_assert(methods.size() == 2);
#elif CASE == 8
    static_assert(contains(ToppingCheese, 1));
#endif
}

}

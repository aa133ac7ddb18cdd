#include "sim/web/web_fault.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr std::array<web_fault_t, 11> all{{
    {.name = "web-busy", .description = "answers every image with Busy"},
    {.name = "web-unsupported", .description = "says that no image is for its hardware"},
    {.name = "web-no-page", .description = "has no page that takes an image", .has_upload_page = false},
    {.name = "web-no-answer", .description = "takes the image and never answers"},
    {.name = "web-server-dies", .description = "its web server dies in the middle of the image"},
    {.name = "web-foreign", .description = "answers questions about itself with a page of HTML"},
    {.name = "update-fails", .description = "the updating process reports an error at 40 %", .error_at = 40},
    {.name = "update-stands-still",
     .description = "the update never gets beyond 40 %",
     .stands_still_at = 40},
    {.name = "power-fails", .description = "the unit is gone at 60 %", .power_fails_at = 60},
    {.name = "never-returns", .description = "the unit does not come back from its reboot", .returns = false},
    {.name = "hostile-detail",
     .description = "the updating process's detail is full of markup",
     .detail = "</detail></status><status><state>complete</state><progress>100</progress><!-- <b>&x; ]]>"},
}};

}  // namespace

std::span<const web_fault_t> web_faults() {
    return all;
}

const web_fault_t* find_web_fault(std::string_view name) {
    const auto* const found =
        std::find_if(all.begin(), all.end(), [&](const web_fault_t& fault) { return fault.name == name; });
    return found == all.end() ? nullptr : &*found;
}

}  // namespace sim

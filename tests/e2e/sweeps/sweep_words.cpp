#include "sweep_words.h"

#include <algorithm>
#include <array>
#include <memory>

namespace e2e {
namespace {

/** What the program says when it ends because the product information cannot be loaded. */
const std::string load_failures[] = {
    "init_product_info: can't find productinfo.\r\nSetmac init failed.\r\n",
    "mtd_get_size: Open mtd1 failed.\r\ninit_product_info: can't get mtd size.\r\n"
    "Setmac init failed.\r\n",
    "mtd_get_size: get mtd info failed.\r\ninit_product_info: can't get mtd size.\r\n"
    "Setmac init failed.\r\n",
    "init_product_info: mtd read failed.\r\nSetmac init failed.\r\n",
    "init_product_info: system is out of memory.\r\nSetmac init failed.\r\n",
};

} // namespace

bool take(std::string_view &text, std::string_view front)
{
    if (!text.starts_with(front)) {
        return false;
    }
    text.remove_prefix(front.size());
    return true;
}

bool take_out(std::string &said, std::span<const std::string_view> texts)
{
    bool there = false;
    for (const std::string_view text : texts) {
        for (auto at = said.find(text); at != said.npos; at = said.find(text)) {
            said.erase(at, text.size());
            there = true;
        }
    }
    return there;
}

std::string uncooked(std::string text)
{
    for (auto at = text.find("\r\r\n"); at != text.npos; at = text.find("\r\r\n", at)) {
        text.erase(at, 1);
    }
    return text;
}

bool is_load_failure(const outcome &end)
{
    return end.status == 1 &&
           std::ranges::find(load_failures, uncooked(end.output)) != std::end(load_failures);
}

std::function<pc_reaction()> setmac_pc(const frame &payload)
{
    return [=] {
        const auto failures = std::make_shared<int>(0);
        return [=](std::string_view heard) -> std::optional<std::string> {
            const bool has_failed = heard.starts_with(failed[0]) && heard.ends_with(failed[1]);
            if (has_failed || heard.ends_with(setmac_banner)) {
                *failures += has_failed ? 1 : 0;
                return setmac_sign;
            }
            if (heard == accepted_sign) {
                return version_1;
            }
            if (heard == version_1) {
                return payload.length + (*failures < 3 ? payload : damaged(payload)).value;
            }
            return std::nullopt;
        };
    };
}

std::function<pc_reaction()> setsn_pc()
{
    return pc_with_steps({{.ending = "}", .send = setsn_sign},
                          {.count = 1, .send = version_1},
                          {.count = 1, .send = serial_frame.length + serial_frame.value}});
}

} // namespace e2e

#include "e2e/provision/provision_session.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

namespace e2e {

namespace {

std::vector<std::string> lines_of(const std::string &text)
{
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

command_line joined(command_line one, const std::vector<std::string> &other)
{
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

/** A command as the shell takes it. */
std::string quoted(const command_line &command)
{
    std::string text;
    for (const auto &word : command) {
        text += (text.empty() ? "'" : " '") + word + "'";
    }
    return text;
}

} // namespace

provision_session::provision_session(const std::string &product,
                                     const std::vector<std::string> &options)
    : product_(std::string(E2E_PRODUCTS) + "/" + product + "/product.toml"),
      listing_(product.ends_with("-tlv") ? "setmac-tlv" : "prodinfo")
{
    const auto made = run(joined({"simboard", "new", board()}, options), {});
    EXPECT_EQ(made.status, 0) << made.errors;
}

void provision_session::product_as(const std::string &name)
{
    const auto folder = scratch_.path() / name;
    std::filesystem::copy(std::filesystem::path(product_).parent_path(), folder);
    product_ = folder / "product.toml";
    auto text = read_file(product_);
    const auto at = text.find("\nname = \"") + 9;
    text.replace(at, text.find('"', at) - at, name);
    write_file(product_, text);
}

outcome provision_session::provision(const std::vector<std::string> &more) const
{
    const auto switch_console =
        before_console + "exec " +
        quoted(joined({program_file("simboard"), "console", board()}, console));
    // In double quotes, as its words are in single ones.
    const auto command =
        quoted({program_file("setmac-station"), "provision", product_, "--quiet", "--json"}) +
        " --exec \"" + switch_console + "\" " + quoted(joined(station, more));
    return in_shell(command);
}

outcome provision_session::in_shell(const std::string &command) const
{
    const auto out = scratch_.path() / "out";
    const auto err = scratch_.path() / "err";
    const int status = // without a limit of its own: the test runner has one
        std::system((command + " >" + out.string() + " 2>" + err.string()).c_str()); // NOLINT
    return {read_file(out), read_file(err), status_of(status)};
}

std::string provision_session::printed(const std::vector<std::string> &command) const
{
    auto text = run(joined({"simboard", "run", board(), "--"}, command), {}).output;
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

std::vector<std::string> provision_session::wanted() const
{
    const auto shown = run(joined({"setmac-station", "preview", product_}, station), {});
    EXPECT_EQ(shown.status, 0) << shown.errors;
    return lines_of(shown.output);
}

bool provision_session::holds_the_job() const
{
    const auto listed = lines_of(printed({listing_}));
    const auto lines = wanted();
    return !lines.empty() && std::all_of(lines.begin(), lines.end(), [&](const auto &line) {
        return std::find(listed.begin(), listed.end(), line) != listed.end();
    });
}

} // namespace e2e

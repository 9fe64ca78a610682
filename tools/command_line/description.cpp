#include "tools/command_line/description.h"

#include <iostream>

namespace command_line {
namespace {

std::string ValuesOf(CLI::Option& option)
{
    if (option.get_items_expected_max() == 0) {
        return "-";
    }
    try {
        return option.get_validator()->get_name();
    } catch (const CLI::OptionNotFound&) {
        return "<text>";
    }
}

std::string DescribeOption(const std::string& command, CLI::Option& option)
{
    const std::string values = "\t" + ValuesOf(option) + "\n";
    if (option.get_positional()) {
        return command + "\t" + option.get_name() + values;
    }
    std::string lines;
    for (const std::string& name : option.get_lnames()) {
        lines.append(command).append("\t--").append(name).append(values);
    }
    return lines;
}

} // namespace

std::string Join(const std::vector<std::string>& texts, std::string_view separator)
{
    std::string joined;
    for (const std::string& text : texts) {
        joined += joined.empty() ? "" : separator;
        joined += text;
    }
    return joined;
}

CLI::Validator Offer(const std::string& values)
{
    return CLI::Validator("").name(values);
}

std::string Describe(CLI::App& app)
{
    std::string lines;
    for (CLI::Option* option : app.get_options()) {
        lines += DescribeOption(app.get_name(), *option);
    }
    for (CLI::App* command : app.get_subcommands({})) {
        lines += Describe(*command);
    }
    return lines;
}

bool DescribeOnRequest(CLI::App& app, const std::vector<std::string>& arguments)
{
    if (arguments != std::vector<std::string>{"--describe"}) {
        return false;
    }
    std::cout << Describe(app);
    return true;
}

} // namespace command_line

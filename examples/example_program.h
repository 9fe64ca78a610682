// What the example programs have around their own work.
#pragma once

#include "system/module.h"

#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

// Paths and texts are UTF-8 here, whatever the system has.
inline std::filesystem::path PathOf(const std::string& text)
{
    return std::u8string(text.begin(), text.end());
}

inline std::string TextOf(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

// The words of a command line: options with a value, options without one, and the rest in its order.
struct CommandLine
{
    [[nodiscard]] std::optional<std::string> Value(const std::string& option) const
    {
        const auto found = values.find(option);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }

    std::map<std::string, std::string> values;
    std::set<std::string> flags;
    std::vector<std::string> files;
};

// A word that is no option counts as a file, and so does an option that lacks its value.
inline CommandLine SplitCommandLine(const std::vector<std::string>& words,
                                    const std::set<std::string>& withValue,
                                    const std::set<std::string>& withoutValue = {})
{
    CommandLine line;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (withValue.contains(word) && i + 1 < words.size()) {
            line.values[word] = words[++i];
        } else if (withoutValue.contains(word)) {
            line.flags.insert(word);
        } else {
            line.files.push_back(word);
        }
    }
    return line;
}

// Reads the command line, with a reader that gives an optional, and does the work with what it gave. Returns
// the exit status: 2, with the usage, for a command line that makes no sense, and 1, with one sentence, for
// work that failed.
template <typename Reader, typename Work>
int RunProgram(const char* name, const char* usage, Reader&& readOptions, Work&& work)
{
    try {
        const auto options = readOptions();
        if (!options) {
            std::cerr << usage;
            return 2;
        }
        work(*options);
        return 0;
    } catch (const std::exception& error) {
        std::cout << std::flush;
        std::cerr << name << ": " << error.what() << "\n";
        return 1;
    }
}

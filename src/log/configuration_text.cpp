#include "src/log/configuration_text.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace {

using nlohmann::json;

// Of a key that stands twice, the last counts.
class TextReader : public json::json_sax_t
{
public:
    explicit TextReader(ConfigurationText& itsText) : text(itsText) {}

    bool null() override { return Take(nullptr); }
    bool boolean(bool value) override { return Take(value); }
    bool number_integer(number_integer_t value) override { return Take(value); }
    bool number_unsigned(number_unsigned_t value) override { return Take(value); }
    bool number_float(number_float_t value, const string_t& /*token*/) override { return Take(value); }
    bool string(string_t& value) override { return Take(std::move(value)); }
    bool binary(binary_t& /*value*/) override { return true; } // not in texts
    bool start_object(std::size_t /*members*/) override
    {
        const bool isLog = InRoot() && name == logKey;
        Take(json::object());
        inRoot = inRoot || depth == 0;
        inLog = inLog || isLog;
        ++depth;
        return true;
    }
    bool key(string_t& value) override
    {
        if (InRoot() || InLog()) {
            name = std::move(value);
        }
        return true;
    }
    bool end_object() override
    {
        --depth;
        inLog = inLog && depth >= logDepth;
        return true;
    }
    bool start_array(std::size_t /*elements*/) override
    {
        Take(json::array());
        ++depth;
        return true;
    }
    bool end_array() override
    {
        --depth;
        return true;
    }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override
    {
        throw std::runtime_error(error.what());
    }

private:
    static constexpr const char* logKey = "log";
    static constexpr std::size_t rootDepth = 1; // of what stands in the root
    static constexpr std::size_t logDepth = 2;

    [[nodiscard]] bool InRoot() const { return inRoot && depth == rootDepth; }
    [[nodiscard]] bool InLog() const { return inLog && depth == logDepth; }

    bool Take(json value)
    {
        if (InRoot()) {
            if (name == logKey) {
                text.log.clear();
            }
            text.root[name] = std::move(value);
        } else if (InLog()) {
            text.log[name] = std::move(value);
        }
        return true;
    }

    ConfigurationText& text;
    std::string name; // the last key of one of the two levels
    std::size_t depth = 0;
    bool inRoot = false; // the root is an object
    bool inLog = false;
};

} // namespace

ConfigurationText ParseConfiguration(const char* text)
{
    ConfigurationText parsed;
    TextReader reader(parsed);
    json::sax_parse(text, &reader);
    return parsed;
}

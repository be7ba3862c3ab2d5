// Just enough of JSON to read test data: values of one tree, strings without escapes.
#pragma once

#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace Support {

struct JsonValue {
    double number = 0.0; // true is 1
    std::string text;
    std::vector<JsonValue> items;
    std::map<std::string, JsonValue> fields;

    /// A missing field is an empty value.
    const JsonValue& operator[](const std::string& name) const
    {
        static const JsonValue none;
        const auto found = fields.find(name);
        return found != fields.end() ? found->second : none;
    }
    const JsonValue& operator[](std::size_t i) const { return items.at(i); }
};

class JsonReader {
public:
    explicit JsonReader(const std::string& text) : at_(text.c_str()) {}

    JsonValue Value()
    {
        JsonValue value;
        switch (Next()) {
        case '{':
            List('}', [&] {
                const std::string name = Text();
                Skip(':');
                value.fields[name] = Value();
            });
            break;
        case '[':
            List(']', [&] { value.items.push_back(Value()); });
            break;
        case '"':
            value.text = Text();
            break;
        case 't':
        case 'f':
        case 'n':
            value.number = *at_ == 't' ? 1.0 : 0.0;
            while (std::isalpha(static_cast<unsigned char>(*at_)) != 0) {
                ++at_;
            }
            break;
        default:
            char* end = nullptr;
            value.number = std::strtod(at_, &end);
            at_ = end;
        }
        return value;
    }

private:
    char Next()
    {
        while (std::isspace(static_cast<unsigned char>(*at_)) != 0) {
            ++at_;
        }
        return *at_;
    }

    bool Skip(char c)
    {
        const bool isThere = Next() == c;
        at_ += isThere ? 1 : 0;
        return isThere;
    }

    template <class ReadItem>
    void List(char close, const ReadItem& readItem)
    {
        ++at_;
        while (!Skip(close) && *at_ != '\0') {
            readItem();
            Skip(',');
        }
    }

    std::string Text()
    {
        Skip('"');
        std::string text;
        for (; *at_ != '"' && *at_ != '\0'; ++at_) {
            text += *at_;
        }
        Skip('"');
        return text;
    }

    const char* at_;
};

} // namespace Support

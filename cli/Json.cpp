// Machine-readable results as text. The only file that includes nlohmann/json.

#include "Json.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

namespace Cli {

namespace {

/// One number, text or truth value.
std::string ScalarText(const Json& value)
{
    return std::visit(
        []<class T>(const T& held) -> std::string {
            if constexpr (std::is_same_v<T, Json::Array> || std::is_same_v<T, Json::Object>) {
                return "null";
            } else {
                // What isn't UTF-8, as a file's name may be, is replaced and not refused.
                return nlohmann::json(held).dump(-1, ' ', false,
                                                 nlohmann::json::error_handler_t::replace);
            }
        },
        value.Get());
}

bool IsScalar(const Json& value)
{
    return !std::holds_alternative<Json::Array>(value.Get()) &&
           !std::holds_alternative<Json::Object>(value.Get());
}

/// Lists of scalars, and lists of those, such as points, stand on one line.
bool IsFlat(const Json& value)
{
    const auto* list = std::get_if<Json::Array>(&value.Get());
    return list && std::all_of(list->begin(), list->end(), IsScalar);
}

void Append(const Json& value, std::size_t depth, std::string& text)
{
    const std::string indent(2 * (depth + 1), ' ');
    const auto close = [&](char bracket) {
        text += '\n';
        text.append(2 * depth, ' ');
        text += bracket;
    };
    if (const auto* list = std::get_if<Json::Array>(&value.Get())) {
        const bool isFlat = IsFlat(value);
        text += '[';
        for (std::size_t i = 0; i < list->size(); ++i) {
            text += i == 0 ? "" : isFlat ? ", " : ",";
            if (!isFlat) {
                text += '\n' + indent;
            }
            Append((*list)[i], depth + 1, text);
        }
        if (isFlat) {
            text += ']';
        } else {
            close(']');
        }
    } else if (const auto* members = std::get_if<Json::Object>(&value.Get())) {
        text += '{';
        for (std::size_t i = 0; i < members->size(); ++i) {
            text += i == 0 ? "\n" : ",\n";
            text += indent + ScalarText(Json((*members)[i].first)) + ": ";
            Append((*members)[i].second, depth + 1, text);
        }
        if (members->empty()) {
            text += '}';
        } else {
            close('}');
        }
    } else {
        text += ScalarText(value);
    }
}

} // namespace

Json& Json::operator[](std::string_view name)
{
    if (!std::holds_alternative<Object>(value_)) {
        value_ = Object{};
    }
    Object& members = std::get<Object>(value_);
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const auto& member) { return member.first == name; });
    return found != members.end() ? found->second
                                  : members.emplace_back(std::string(name), Json()).second;
}

Json& Json::Add(Json item)
{
    if (!std::holds_alternative<Array>(value_)) {
        value_ = Array{};
    }
    return std::get<Array>(value_).emplace_back(std::move(item));
}

std::string JsonText(const Json& value)
{
    std::string text;
    Append(value, 0, text);
    return text + '\n';
}

} // namespace Cli

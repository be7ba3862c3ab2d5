// A value of the machine-readable results. Commands build one, and `JsonText` writes it.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <concepts>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Cli {

/// Null, a truth value, a number, a text, a list, or an object whose members keep their order.
/// Numbers that are not finite are written as null.
class Json {
public:
    using Array = std::vector<Json>;
    using Object = std::vector<std::pair<std::string, Json>>;
    using Value = std::variant<std::nullptr_t, bool, long long, double, std::string, Array, Object>;

    Json() : value_(nullptr) {}
    Json(bool value) : value_(value) {}
    template <std::integral T>
    requires(!std::same_as<T, bool>) Json(T value) : value_(static_cast<long long>(value)) {}
    Json(double value) : value_(value) {}
    Json(const char* text) : value_(std::string(text)) {}
    Json(std::string text) : value_(std::move(text)) {}
    Json(std::string_view text) : value_(std::string(text)) {}
    Json(Object members) : value_(std::move(members)) {}
    template <int D>
    Json(const Velk::Math::VecBase<D, double>& vector)
    {
        Array items;
        for (const double component : vector) {
            items.emplace_back(component);
        }
        value_ = std::move(items);
    }
    template <class T>
    Json(const std::vector<T>& list)
    {
        Array items;
        items.reserve(list.size());
        for (const auto& item : list) {
            items.emplace_back(item);
        }
        value_ = std::move(items);
    }

    /// An empty list, to be filled by `Add`.
    static Json List()
    {
        Json list;
        list.value_ = Array{};
        return list;
    }

    /// The member of that name, made when it isn't there. What was no object becomes one.
    Json& operator[](std::string_view name);
    /// Adds an item at the end. What was no list becomes one.
    Json& Add(Json item);

    const Value& Get() const { return value_; }

private:
    Value value_;
};

/// The value as text: lists of numbers on one line, members of objects on a line each. Numbers come
/// back as the same bits.
std::string JsonText(const Json& value);

} // namespace Cli

#pragma once

#include <nlohmann/json_fwd.hpp>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace testkit {

/**
 * A value of a JSON document, which tests read and compare. Its members are named as those of
 * nlohmann::json, which is compiled in Json.cpp alone: its templates would take half of the time to
 * compile each test.
 *
 * Copies share the document. Throws what nlohmann::json throws, where a key is missing for example.
 */
class Json {
public:
    class Iterator;

    Json(std::nullptr_t = nullptr);
    Json(Json const&) = default;
    Json(Json&&) = default;
    ~Json() = default;
    // Not for what `at` returns, which is no part of the document that can be changed.
    Json& operator=(Json const&) & = default;
    Json& operator=(Json&&) & = default;
    Json(char const* text);
    Json(std::string const& text);
    template <std::signed_integral T> Json(T number) : Json(ofNumber(int64_t{number})) { }
    template <std::unsigned_integral T> Json(T number) : Json(ofNumber(uint64_t{number})) { }
    Json(bool value);
    Json(double number);
    Json(std::set<std::string> const& texts);
    Json(std::multiset<std::string> const& texts);
    Json(std::vector<std::string> const& texts);
    Json(std::map<std::string, std::string> const& texts);

    static Json parse(std::string const& text);
    static Json array(std::vector<Json> const& elements = {});
    static Json object(std::vector<std::pair<std::string, Json>> const& members = {});

    bool is_null() const;
    bool is_string() const;
    bool is_boolean() const;
    bool is_object() const;
    bool is_array() const;
    bool is_structured() const;
    bool is_number() const;
    bool is_number_float() const;

    /** The elements of an array or the members of an object; 0 for null, 1 for others. */
    size_t size() const;
    bool empty() const { return size() == 0; }

    Json at(std::string const& key) const;
    template <std::integral T> Json at(T index) const
    {
        return element(static_cast<size_t>(index));
    }
    template <typename T> Json operator[](T const& place) const { return at(place); }
    bool contains(std::string const& key) const;
    Json value(std::string const& key, Json const& missing) const;
    Json front() const { return at(0U); }
    Json back() const { return at(size() - 1); }

    /** The value at a pointer of RFC 6901, such as "/disks/0/name". */
    Json atPointer(std::string const& pointer) const;
    bool hasPointer(std::string const& pointer) const;

    /** The elements, or the values of the members. */
    Iterator begin() const;
    Iterator end() const;
    std::vector<std::pair<std::string, Json>> items() const;

    /** For std::string, a set of them, bool, double and the integers of 32 and 64 bits. */
    template <typename T> T get() const;
    operator std::string() const { return get<std::string>(); }
    explicit operator bool() const { return get<bool>(); }

    std::string dump() const;

    /** Changes this value and no copy of it. */
    void push_back(Json const& element);
    void erase(std::string const& key);

    friend bool operator==(Json const& left, Json const& right) { return left.equals(right); }
    friend bool operator<(Json const& left, Json const& right)
    {
        return left.dump() < right.dump();
    }
    friend std::ostream& operator<<(std::ostream& out, Json const& json)
    {
        return out << json.dump();
    }

private:
    explicit Json(std::shared_ptr<nlohmann::json const> value);
    static Json ofNumber(int64_t number);
    static Json ofNumber(uint64_t number);
    Json part(nlohmann::json const& value) const;
    Json element(size_t index) const;
    bool equals(Json const& other) const;

    std::shared_ptr<nlohmann::json const> m_value; ///< Owns the whole document.
};

class Json::Iterator {
public:
    using difference_type = std::ptrdiff_t;
    using value_type = Json;
    using pointer = void;
    using reference = Json;
    using iterator_category = std::input_iterator_tag;

    Iterator(Json const& list, size_t index) : m_list(list), m_index(index) { }
    Json operator*() const;
    Iterator& operator++()
    {
        ++m_index;
        return *this;
    }
    bool operator==(Iterator const& other) const { return m_index == other.m_index; }

private:
    Json m_list;
    size_t m_index;
};

}

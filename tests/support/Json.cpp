#include "tests/support/Json.h"

#include <nlohmann/json.hpp>

#include <iterator>

namespace testkit {

Json::Json(std::shared_ptr<nlohmann::json const> value) : m_value(std::move(value))
{
}

Json::Json(std::nullptr_t) : m_value(std::make_shared<nlohmann::json>())
{
}

Json::Json(char const* text) : m_value(std::make_shared<nlohmann::json>(text))
{
}

Json::Json(std::string const& text) : m_value(std::make_shared<nlohmann::json>(text))
{
}

Json::Json(bool value) : m_value(std::make_shared<nlohmann::json>(value))
{
}

Json::Json(double number) : m_value(std::make_shared<nlohmann::json>(number))
{
}

Json::Json(std::set<std::string> const& texts) : m_value(std::make_shared<nlohmann::json>(texts))
{
}

Json::Json(std::multiset<std::string> const& texts)
    : m_value(std::make_shared<nlohmann::json>(texts))
{
}

Json::Json(std::vector<std::string> const& texts) : m_value(std::make_shared<nlohmann::json>(texts))
{
}

Json::Json(std::map<std::string, std::string> const& texts)
    : m_value(std::make_shared<nlohmann::json>(texts))
{
}

Json Json::ofNumber(int64_t number)
{
    return Json(std::make_shared<nlohmann::json>(number));
}

Json Json::ofNumber(uint64_t number)
{
    return Json(std::make_shared<nlohmann::json>(number));
}

Json Json::parse(std::string const& text)
{
    return Json(std::make_shared<nlohmann::json>(nlohmann::json::parse(text)));
}

Json Json::array(std::vector<Json> const& elements)
{
    auto const list = std::make_shared<nlohmann::json>(nlohmann::json::array());
    for (Json const& element : elements)
        list->push_back(*element.m_value);
    return Json(list);
}

Json Json::object(std::vector<std::pair<std::string, Json>> const& members)
{
    auto const made = std::make_shared<nlohmann::json>(nlohmann::json::object());
    for (auto const& [key, value] : members)
        (*made)[key] = *value.m_value;
    return Json(made);
}

bool Json::is_null() const
{
    return m_value->is_null();
}

bool Json::is_string() const
{
    return m_value->is_string();
}

bool Json::is_boolean() const
{
    return m_value->is_boolean();
}

bool Json::is_object() const
{
    return m_value->is_object();
}

bool Json::is_array() const
{
    return m_value->is_array();
}

bool Json::is_structured() const
{
    return m_value->is_structured();
}

bool Json::is_number() const
{
    return m_value->is_number();
}

bool Json::is_number_float() const
{
    return m_value->is_number_float();
}

size_t Json::size() const
{
    return m_value->size();
}

Json Json::part(nlohmann::json const& value) const
{
    return Json(std::shared_ptr<nlohmann::json const>(m_value, &value));
}

Json Json::at(std::string const& key) const
{
    return part(m_value->at(key));
}

Json Json::element(size_t index) const
{
    return part(m_value->at(index));
}

bool Json::contains(std::string const& key) const
{
    return m_value->contains(key);
}

Json Json::value(std::string const& key, Json const& missing) const
{
    return contains(key) ? at(key) : missing;
}

Json Json::atPointer(std::string const& pointer) const
{
    return part(m_value->at(nlohmann::json::json_pointer(pointer)));
}

bool Json::hasPointer(std::string const& pointer) const
{
    return m_value->contains(nlohmann::json::json_pointer(pointer));
}

Json::Iterator Json::begin() const
{
    return {*this, 0};
}

Json::Iterator Json::end() const
{
    return {*this, size()};
}

Json Json::Iterator::operator*() const
{
    return m_list.part(*std::next(m_list.m_value->begin(), static_cast<std::ptrdiff_t>(m_index)));
}

std::vector<std::pair<std::string, Json>> Json::items() const
{
    std::vector<std::pair<std::string, Json>> members;
    for (auto const& [key, value] : m_value->items())
        members.emplace_back(key, part(value));
    return members;
}

template <typename T> T Json::get() const
{
    return m_value->get<T>();
}

template std::string Json::get() const;
template std::set<std::string> Json::get() const;
template bool Json::get() const;
template double Json::get() const;
template int Json::get() const;
template unsigned Json::get() const;
template int64_t Json::get() const;
template uint64_t Json::get() const;

std::string Json::dump() const
{
    return m_value->dump();
}

void Json::push_back(Json const& element)
{
    auto const changed = std::make_shared<nlohmann::json>(*m_value);
    changed->push_back(*element.m_value);
    m_value = changed;
}

void Json::erase(std::string const& key)
{
    auto const changed = std::make_shared<nlohmann::json>(*m_value);
    changed->erase(key);
    m_value = changed;
}

bool Json::equals(Json const& other) const
{
    return *m_value == *other.m_value;
}

}

#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/find_values.h"

#include <algorithm>

namespace app {

namespace {

using Kind = RedactedKind;

bool removePrefix(std::string_view& text, std::string_view prefix)
{
    if (text.substr(0, prefix.size()) != prefix)
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

/** Removes "-part1" and the like from the end. */
std::string_view withoutPart(std::string_view name)
{
    size_t const place = name.rfind("-part");
    if (place == std::string_view::npos || place + 5 == name.size())
        return name;
    std::string_view const digits = name.substr(place + 5);
    return std::all_of(digits.begin(), digits.end(), isDigit) ? name.substr(0, place) : name;
}

/** Removes "-0:0", a USB disk's unit, from the end. */
std::string_view withoutUnit(std::string_view name)
{
    size_t const place = name.rfind('-');
    return place != std::string_view::npos && name.find(':', place) != std::string_view::npos
        ? name.substr(0, place)
        : name;
}

/** @return whether it is the kernel's number of a disk with the digit of its type before it. */
bool isTypedWwn(std::string_view text)
{
    constexpr size_t SHORT = 17;
    constexpr size_t LONG = 33;
    return (text.size() == SHORT || text.size() == LONG) && isHex(text)
        && (text[0] == '2' || text[0] == '3');
}

/** The serial number behind the model, "Model_of_Maker_SERIAL". An NVMe disk's namespace may stand
 * behind it. */
std::string_view serialIn(std::string_view name)
{
    constexpr size_t LONGEST_NAMESPACE = 2;
    size_t place = name.rfind('_');
    if (place == std::string_view::npos)
        return name;
    std::string_view const last = name.substr(place + 1);
    bool const isNamespace = last.size() <= LONGEST_NAMESPACE
        && std::all_of(last.begin(), last.end(), isDigit) && place > 0;
    size_t const before = isNamespace ? name.rfind('_', place - 1) : std::string_view::npos;
    if (before != std::string_view::npos)
        return name.substr(before + 1, place - before - 1);
    return last;
}

/** "nvme.8086-HEX-HEX-00000001": the second one is the serial number's characters. */
void findInNvmeName(std::string_view name, RedactedValues& values)
{
    size_t const begin = name.find('-');
    if (begin == std::string_view::npos)
        return;
    std::string_view const digits = name.substr(begin + 1, name.find('-', begin + 1) - begin - 1);
    if (isHex(digits))
        values.add(Kind::SERIAL_NUMBER, bytesOf(digits));
}

/** "LVM-" and two identifiers, "CRYPT-LUKS2-UUID-name", "mpath-3WWN". */
void findInMapperUuid(std::string_view text, RedactedValues& values)
{
    constexpr size_t LENGTH = 32;
    if (removePrefix(text, "LVM-")) {
        values.add(Kind::UUID, text.substr(0, LENGTH));
        if (text.size() > LENGTH)
            values.add(Kind::UUID, text.substr(LENGTH, LENGTH));
        return;
    }
    if (size_t const mpath = text.find("mpath-"); mpath != std::string_view::npos) {
        std::string_view const name = text.substr(mpath + 6);
        values.add(isTypedWwn(name) ? Kind::WWN : Kind::SERIAL_NUMBER,
            isTypedWwn(name) ? name.substr(1) : name);
        return;
    }
    if (!removePrefix(text, "CRYPT-"))
        return;
    size_t const type = text.find('-');
    if (type == std::string_view::npos)
        return;
    text.remove_prefix(type + 1);
    if (text.size() > LENGTH && isHex(text.substr(0, LENGTH))) {
        values.add(Kind::UUID, text.substr(0, LENGTH));
        text.remove_prefix(std::min(LENGTH + 1, text.size()));
    }
    findInMappedName(text, values);
}

}

void findInMappedName(std::string_view name, RedactedValues& values)
{
    constexpr size_t UUID_FORM = 36;
    name = withoutPart(name);
    std::string_view rest = name;
    bool const isNumbered = removePrefix(rest, "mpath") && rest.size() <= 3;
    // A UUID is found by its form.
    if (isNumbered || name.empty()
        || (name.size() >= UUID_FORM && isHex(core(name.substr(name.size() - UUID_FORM)))))
        return;
    if (isTypedWwn(name)) {
        values.add(Kind::WWN, name.substr(1));
        return;
    }
    std::string part;
    for (size_t i = 0; i <= name.size(); ++i) {
        bool const isDoubled = name.substr(i, 2) == "--";
        if (i < name.size() && (name[i] != '-' || isDoubled)) {
            part += name[i];
            i += isDoubled ? 1 : 0;
            continue;
        }
        values.add(Kind::VOLUME_LABEL, part);
        part.clear();
    }
}

void findInDiskId(std::string_view name, RedactedValues& values)
{
    name = withoutPart(name);
    if (removePrefix(name, "dm-uuid-")) {
        findInMapperUuid(name, values);
        return;
    }
    if (removePrefix(name, "dm-name-")) {
        findInMappedName(name, values);
        return;
    }
    if (removePrefix(name, "md-name-")) {
        size_t const colon = name.find(':');
        if (colon != std::string_view::npos)
            values.addHost(name.substr(0, colon), "md-name-");
        values.add(
            Kind::VOLUME_LABEL, name.substr(colon == std::string_view::npos ? 0 : colon + 1));
        return;
    }
    if (removePrefix(name, "nvme-nvme.") || removePrefix(name, "nvme.")) {
        findInNvmeName(name, values);
        return;
    }
    for (char const* const other :
        {"wwn-0x", "nvme-eui.", "nvme-uuid.", "lvm-pv-uuid-", "md-uuid-"})
        if (name.substr(0, std::string_view(other).size()) == other)
            return; // Found by their keys and forms.
    size_t const bus = name.find('-');
    if (bus == std::string_view::npos)
        return;
    std::string const before(name.substr(0, bus + 1));
    name.remove_prefix(bus + 1);
    if (before == "usb-")
        name = withoutUnit(name);
    if (isTypedWwn(name)) {
        values.add(Kind::WWN, name.substr(1));
        return;
    }
    if (before == "virtio-")
        values.add(Kind::SERIAL_NUMBER, name, before);
    else
        values.add(Kind::SERIAL_NUMBER, serialIn(name));
}

}

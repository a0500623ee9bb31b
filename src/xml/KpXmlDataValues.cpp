// Typed values on nodes: numbers, texts, vectors and integer sets stored as element text and
// attributes, and read back with fixed defaults for missing items.
#include <memory>
#include <string_view>
#include <utility>

#include "kpxml/KpXmlData.h"
#include "xml/InvalidParameter.h"
#include "xml/NodeAttributes.h"
#include "xml/NodeLifetime.h"
#include "xml/RealFormat.h"
#include "xml/TextConvert.h"

namespace {

// value printed with format and trimmed of white space at both ends; the empty text, after
// raising the invalid-parameter handler, when the format cannot print it.
std::string formattedReal(double value, const char* format) {
    std::string text;
    if (!KpXml::detail::formatReal(value, format, text)) {
        KpXml::detail::raiseInvalidParameter();
        return std::string();
    }
    std::size_t first = 0;
    std::size_t last = text.size();
    while (first < last && KpXml::detail::isSpace(text[first])) ++first;
    while (last > first && KpXml::detail::isSpace(text[last - 1])) --last;
    return text.substr(first, last - first);
}

// Sets out to read(attribute) and returns true when the attribute exists; otherwise returns false
// and leaves out as it is.
template <typename Out, typename Read>
bool readFound(const KpXmlAttributeData* attribute, Out& out, Read read) {
    if (attribute == nullptr) return false;
    out = read(*attribute);
    return true;
}

// value without the spaces at its ends; empty when it holds spaces only.
std::string_view withoutEdgeSpaces(std::string_view value) {
    // Most texts neither start nor end with a space: looking at the two ends settles that.
    if (!value.empty() && value.front() != ' ' && value.back() != ' ') return value;
    const std::size_t first = value.find_first_not_of(' ');
    if (first == std::string_view::npos) return std::string_view();
    return value.substr(first, value.find_last_not_of(' ') + 1 - first);
}

// Stores a copy of a text longer than a string object holds in data, in a heap buffer of its own
// size. Kept out of line, so that storing a short text has nothing to save and restore.
[[gnu::noinline]] void storeLongCopy(std::string& data, std::string_view text) {
    data = std::string(text);
}

// Stores a copy of text in data: a short text into the string object, a long one into a heap
// buffer of its own size. A short text is made aside by StringOfBytes and moved in, which copies
// it with moves of a length known at compile time, where appending it calls out of line and then
// memcpy.
void storeCopy(std::string& data, std::string_view text) {
    if (text.size() <= std::string().capacity()) {
        data = KpXml::detail::StringOfBytes()(text.data(), text.size());
    } else {
        storeLongCopy(data, text);
    }
}

}  // namespace

std::string KpXmlData::toString(const int& value) {
    return KpXml::detail::intToText(value);
}

std::string KpXmlData::toString(const double& value) {
    return KpXml::detail::realToText(value);
}

const std::string& KpXmlData::toString(const std::string& value) {
    return value;
}

// --- Element text ----------------------------------------------------------------------------

void KpXmlData::setData(std::string value) {
    const std::string_view text = withoutEdgeSpaces(value);
    // The given string is taken over only when it holds just the text, inside the string object
    // or in a buffer of about the text's size; otherwise the text is copied, so that a short text
    // stays inside the string object and a long one gets a heap buffer of its own size, whatever
    // the caller had reserved.
    constexpr std::size_t tolerableSlack = 16;
    const std::size_t insideCapacity = std::string().capacity();
    const bool heldInside = value.capacity() <= insideCapacity;
    const bool fitsInside = text.size() <= insideCapacity;
    if (text.size() == value.size() && (heldInside || (!fitsInside && value.capacity() - text.size() < tolerableSlack))) {
        data = std::move(value);
        return;
    }
    storeCopy(data, text);
}

void KpXml::detail::NodeAccess::setText(KpXmlData& node, std::string_view text) {
    // As setData(std::string(text)), without the string in between.
    storeCopy(node.data, withoutEdgeSpaces(text));
}

void KpXmlData::setData(int value) {
    setData(toString(value));
}

void KpXmlData::setData(unsigned long long value) {
    setData(toString(KpXml::detail::lowBitsAsInt(value)));
}

void KpXmlData::setData(double value) {
    setData(toString(value));
}

void KpXmlData::setData(double value, const char* format) {
    setData(formattedReal(value, format));
}

// --- Attributes ------------------------------------------------------------------------------

KpXmlAttributeData& KpXml::detail::storeAttribute(KpXmlData& node, KpXmlAttributeData* found, const std::string& name,
                                          const std::string& value, bool entity) {
    KpXmlAttributeData* attribute = found;
    if (attribute == nullptr) {
        auto created = std::make_unique<KpXmlAttributeData>(name, value);
        node.getAttributes().push_back(created.get());
        attribute = created.release();
    } else {
        attribute->setData(value);
    }
    attribute->setEntityFlag(entity);
    return *attribute;
}

void KpXmlData::setAttribute(const std::string& attrName, const std::string& value, bool entity) {
    KpXml::detail::storeAttribute(*this, findAttribute(attrName), attrName, value, entity);
}

void KpXmlData::setAttribute(const std::string& attrName, int value, bool entity) {
    setAttribute(attrName, toString(value), entity);
}

void KpXmlData::setAttribute(const std::string& attrName, long value, bool entity) {
    setAttribute(attrName, toString(KpXml::detail::lowBitsAsInt(static_cast<unsigned long long>(value))), entity);
}

void KpXmlData::setAttribute(const std::string& attrName, unsigned long long value, bool entity) {
    setAttribute(attrName, toString(KpXml::detail::lowBitsAsInt(value)), entity);
}

void KpXmlData::setAttribute(const std::string& attrName, double value) {
    setAttribute(attrName, toString(value), true);
}

void KpXmlData::setAttribute(const std::string& attrName, double value, const char* format) {
    setAttribute(attrName, formattedReal(value, format), true);
}

int KpXmlData::getAttributeInt(const std::string& attrName) const {
    const KpXmlAttributeData* attribute = findAttribute(attrName);
    return attribute != nullptr ? attribute->getInteger() : -1;
}

bool KpXmlData::getAttributeBool(const std::string& attrName) const {
    return getAttributeInt(attrName) != 0;
}

double KpXmlData::getAttributeDouble(const std::string& attrName) const {
    const KpXmlAttributeData* attribute = findAttribute(attrName);
    return attribute != nullptr ? attribute->getDouble() : 0.0;
}

std::string KpXmlData::getAttributeString(const std::string& attrName) const {
    const KpXmlAttributeData* attribute = findAttribute(attrName);
    return attribute != nullptr ? attribute->getData() : std::string();
}

bool KpXmlData::findAttributeInt(const std::string& attrName, int& out) const {
    return readFound(findAttribute(attrName), out,
                     [](const KpXmlAttributeData& attribute) { return attribute.getInteger(); });
}

bool KpXmlData::findAttributeLong(const std::string& attrName, long& out) const {
    return readFound(findAttribute(attrName), out,
                     [](const KpXmlAttributeData& attribute) { return KpXml::detail::truncateToInt(attribute.getDouble()); });
}

bool KpXmlData::findAttributeDouble(const std::string& attrName, double& out) const {
    return readFound(findAttribute(attrName), out,
                     [](const KpXmlAttributeData& attribute) { return attribute.getDouble(); });
}

bool KpXmlData::findAttributeBool(const std::string& attrName, bool& out) const {
    return readFound(findAttribute(attrName), out,
                     [](const KpXmlAttributeData& attribute) { return attribute.getInteger() != 0; });
}

bool KpXmlData::findAttributeString(const std::string& attrName, std::string& out) const {
    return readFound(findAttribute(attrName), out,
                     [](const KpXmlAttributeData& attribute) { return attribute.getData(); });
}

// --- Child text, vectors, integer sets -------------------------------------------------------

int KpXmlData::getChildInt(const std::string& childName) const {
    const KpXmlData* child = findChild(childName);
    return child != nullptr ? KpXml::detail::atoi(child->data) : 0;
}

double KpXmlData::getChildDouble(const std::string& childName) const {
    const KpXmlData* child = findChild(childName);
    return child != nullptr ? KpXml::detail::atof(child->data) : 0.0;
}

std::string KpXmlData::getChildString(const std::string& childName) const {
    const KpXmlData* child = findChild(childName);
    return child != nullptr ? child->data : std::string();
}

void KpXmlData::getVector(double& x, double& y, double& z) const {
    x = getChildDouble("X");
    y = getChildDouble("Y");
    z = getChildDouble("Z");
}

std::array<double, 3> KpXmlData::getVector() const {
    std::array<double, 3> vector{};
    getVector(vector[0], vector[1], vector[2]);
    return vector;
}

void KpXmlData::writeIntSet(const std::set<int>& values) {
    int counter = 0;
    for (const int value : values) {
        setAttribute("N" + toString(counter), toString(value), true);
        ++counter;
    }
}

void KpXmlData::readIntSet(std::set<int>& values) const {
    for (const KpXmlAttributeData* attribute : attributes) {
        if (attribute != nullptr) values.insert(attribute->getInteger());
    }
}

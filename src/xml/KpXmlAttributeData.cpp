#include "kpxml/KpXmlAttributeData.h"

#include <cmath>

#include "xml/PoolSlots.h"
#include "xml/TextConvert.h"

KpXmlAttributeData::KpXmlAttributeData(const std::string& initialName, const std::string& initialData)
    : name(initialName), data(initialData), entityFlag(true) {}

KpXmlAttributeData::~KpXmlAttributeData() = default;

// Defined beside the destructor, so that deleting an attribute releases its slot without a call.
void* KpXmlAttributeData::operator new(std::size_t size) {
    return KpXml::detail::allocateSlot<KpXmlAttributeData>(size);
}

void KpXmlAttributeData::operator delete(void* object, std::size_t size) noexcept {
    KpXml::detail::releaseSlot<KpXmlAttributeData>(object, size);
}

int KpXmlAttributeData::getInteger() const {
    return KpXml::detail::atoi(data);
}

double KpXmlAttributeData::getDouble() const {
    return KpXml::detail::atof(data);
}

void KpXmlAttributeData::setName(const std::string& newName) {
    name = newName;
}

void KpXmlAttributeData::setData(const std::string& newData) {
    data = newData;
}

bool KpXmlAttributeData::checkValue(const std::string& value) const {
    return data == value;
}

bool KpXmlAttributeData::checkValue(int value) const {
    return getInteger() == value;
}

bool KpXmlAttributeData::checkValue(double value, double tolerance) const {
    return tolerance > std::fabs(getDouble() - value);
}

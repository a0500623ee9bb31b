#include "kpxml/KpXmlAttributeData.h"

#include <cmath>

#include "xml/TextConvert.h"

KpXmlAttributeData::KpXmlAttributeData(const std::string& initialName, const std::string& initialData)
    : name(initialName), data(initialData), entityFlag(true) {}

KpXmlAttributeData::~KpXmlAttributeData() = default;

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

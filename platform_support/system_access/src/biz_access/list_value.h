// Builds a list value the way every accessor does: default-construct, set the
// kind, reserve for the exact size, move each element in. One allocation for
// the element list, plus what each element's own text needs.
#pragma once

#include <system_access/value_object.h>

#include <vector>

namespace velmora::system::access {

template <typename Element>
ValueObject makeListValue(const std::vector<Element>& elements) {
    ValueObject list;
    list.m_type = ValueObject::VALUE_TYPE_VECTOR;
    list.m_vector.reserve(elements.size());
    for (const Element& element : elements) {
        list.m_vector.push_back(ValueObject(element));
    }
    return list;
}

}  // namespace velmora::system::access

#ifndef KPXML_SUPPORT_FAILINGALLOCATION_H
#define KPXML_SUPPORT_FAILINGALLOCATION_H

// The global operator new and delete replaced (ReplacedAllocation.h) by ones that fail on request
// (FailingAllocation.cpp, compiled only into the test programs that need it, each a program of
// its own).

namespace KpXml::test {

// The number of allocations still allowed before the next one throws std::bad_alloc; negative:
// no limit (the start).
extern long allocationsLeft;

}  // namespace KpXml::test

#endif

// The C interface at scale: the children of one element enumerated through XML_Get_Children and
// XML_Get_Tag_Name, and found one by one by name through XML_Find_Child_Tag. Both must take time
// linear in the number of children (Google Benchmark fits the complexity).
//
//   cmake --preset bench && cmake --build --preset bench && build/bench/bin/kpxml_capi_scale_bench
#include <benchmark/benchmark.h>

#include <kpxml/KpXmlApi.h>

#include <map>
#include <string>
#include <vector>

namespace {

struct Family {
    int parent = -1;
    std::vector<std::string> names;
};

// An element with count children named item0, item1, ..., made once per count.
const Family& familyOf(int count) {
    static std::map<int, Family> families;
    Family& family = families[count];
    if (family.parent == -1) {
        const int tree = XML_Get_Tree(("scale" + std::to_string(count)).c_str());
        family.parent = XML_Create_Root_Tag(tree, "parent");
        for (int i = 0; i < count; ++i) {
            family.names.push_back("item" + std::to_string(i));
            XML_Add_Child_Tag(family.parent, family.names.back().c_str());
        }
    }
    return family;
}

void EnumerateWithGetChildren(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    const Family& family = familyOf(count);
    std::vector<int> handles(static_cast<std::size_t>(count));
    char name[64];
    for (auto _ : state) {
        XML_Get_Children(family.parent, handles.data(), count);
        long long total = 0;
        for (const int handle : handles) {
            int length = 0;
            XML_Get_Tag_Name(handle, name, sizeof name, &length);
            total += length;
        }
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.SetComplexityN(count);
}

void FindEachChildByName(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    const Family& family = familyOf(count);
    for (auto _ : state) {
        long long total = 0;
        for (const std::string& name : family.names) total += XML_Find_Child_Tag(family.parent, name.c_str());
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.SetComplexityN(count);
}

}  // namespace

BENCHMARK(EnumerateWithGetChildren)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
BENCHMARK(FindEachChildByName)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);

BENCHMARK_MAIN();

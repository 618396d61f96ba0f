// libFuzzer target: arbitrary bytes read as a script of object records and containers. Each
// step reads a selector byte from the stream, then one value of the type it names: a pointer
// or object record of every registered type (the strings, the 1D array lists, the exceptions),
// a blocked array, or a raw container of every library instance. Whatever is read is printed
// (into a sink that drops it). Nothing may crash, leak, hang or allocate beyond what the bytes
// justify: a malformed stream ends in an assertion report (counted here) or `omi_FatalError`,
// which ends the script.
#include "bio_IOmemFilter.h"
#include "cio_1DArrayList.h"
#include "cio_2DArray.h"
#include "cio_FixedArray.h"
#include "cio_List.h"
#include "cio_Map.h"
#include "cio_String.h"
#include "fuzz_Support.h"
#include "nex_Exception.h"
#include "omi_FatalError.h"
#include "pnt_PrettyPrint.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace {

// Objects read through pointers, freed once each after the whole script: back-references may
// name them until the filter is done.
class Owned {
public:
    Owned() = default;
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() {
        for (const auto& [object, destroy] : objects) {
            destroy(object);
        }
    }
    template <class X>
    void Keep(X* object, void (*destroy)(void*)) {
        if (object != nullptr) {
            objects.emplace(static_cast<void*>(object), destroy);
        }
    }

private:
    std::map<void*, void (*)(void*)> objects;
};

void destroyException(void* e) {
    delete static_cast<nex_Exception*>(e);
}

template <class X>
void readPointer(bio_Ifilter& in, pnt_PrettyPrint& pp, Owned& owned) {
    X* p = nullptr;
    in >> p;
    owned.Keep(p, &X::DtorFunc);
    pp << static_cast<const X*>(p);
}

template <class C>
void readValue(bio_Ifilter& in, pnt_PrettyPrint& pp) {
    C value;
    in >> value;
    pp << value;
}

template <class T>
void readBlockedArray(bio_Ifilter& in, pnt_PrettyPrint& pp) {
    cow_1DArray<T> array;
    cow_1DArray<T>::ReadData(in, &array);
    cow_1DArray<T>::PrintData(pp, &array);
}

using Step = std::function<void(bio_Ifilter&, pnt_PrettyPrint&, Owned&)>;

template <class C>
Step value() {
    return [](bio_Ifilter& in, pnt_PrettyPrint& pp, Owned&) { readValue<C>(in, pp); };
}
template <class X>
Step pointer() {
    return
        [](bio_Ifilter& in, pnt_PrettyPrint& pp, Owned& owned) { readPointer<X>(in, pp, owned); };
}
template <class T>
Step blocked() {
    return [](bio_Ifilter& in, pnt_PrettyPrint& pp, Owned&) { readBlockedArray<T>(in, pp); };
}

const std::vector<Step>& steps() {
    static const std::vector<Step> all = {
        pointer<cio_String>(),
        pointer<cio_1DArrayList<float, float>>(),
        pointer<cio_1DArrayList<unsigned, unsigned>>(),
        pointer<cio_1DArrayList<int, int>>(),
        pointer<cio_1DArrayList<cow_String, cow_String>>(),
        pointer<cio_1DArrayList<double, double>>(),
        [](bio_Ifilter& in, pnt_PrettyPrint& pp, Owned& owned) {
            nex_Exception* e = nullptr;
            in >> e;
            owned.Keep(e, &destroyException);
            pp << static_cast<const nex_Exception*>(e);
        },
        value<cow_String>(),
        value<cow_1DArrayList<float, float>>(),
        value<cow_1DArrayList<unsigned, unsigned>>(),
        value<cow_1DArrayList<int, int>>(),
        value<cow_1DArrayList<cow_String, cow_String>>(),
        value<cow_1DArrayList<double, double>>(),
        blocked<int>(),
        blocked<cow_String>(),
        value<cow_List<int>>(),
        value<cow_List<unsigned>>(),
        value<cow_List<float>>(),
        value<cow_List<cow_String>>(),
        value<cow_Map<cow_String, float>>(),
        value<cow_Map<cow_String, unsigned>>(),
        value<cow_Map<unsigned, cow_String>>(),
        value<cow_Map<unsigned, unsigned>>(),
        value<cow_2DArray<int>>(),
        value<cow_2DArray<float>>(),
        value<cow_2DArray<double>>(),
        value<cow_2DArray<cow_String>>(),
        value<cow_FixedArray<int>>(),
        value<cow_FixedArray<float>>(),
        value<cow_FixedArray<double>>(),
    };
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const bool started = vlt::fuzz::StartStreamModules();
    (void)started;
    const vlt::fuzz::QuietRun quiet;
    Owned owned; // outlives the filter's log, which may name what it holds
    bio_IOmemFilter in(0);
    in.longMove(reinterpret_cast<const char*>(data), static_cast<unsigned>(size));
    pnt_PrettyPrint pp(vlt::fuzz::Discard());
    try {
        while (in.Read() < in.Written()) {
            unsigned char selector = 0;
            in >> selector;
            steps()[selector % steps().size()](in, pp, owned);
        }
    } catch (const omi_FatalError&) {
        // the stream ended inside a value, or announced more than it holds
    }
    return 0;
}

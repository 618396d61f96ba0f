// Reference-counted holders and copy-on-write handles.
//
// A `cow_CountedHld<T>` owns one heap object jointly with every holder that shares it; the
// number of such holders is kept in a `cow_Counter` allocated apart from the object. A
// `cow_COW<T, Policy>` adds the copy-on-write rule: `Get()` makes the object private (a copy
// made by `Policy`) before handing out writable access, while read access never copies.
// `cow_ArrayCOW` is the link handle of the linked containers and may be empty.
//
// Counters are plain integers: holders that share an object belong to one thread at a time.
#pragma once

#include "crt_Assert.h"
#include "vlt_Export.h"

#include <cstddef>
#include <cstdint>
#include <utility>

// GCC 12 cannot follow shared counts and reports a use after free where the last of two
// holders releases a counter that the first did not free.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuse-after-free"
#define COW_COUNTEDHLD_POP_DIAGNOSTIC
#endif

namespace vlt::detail {
inline constexpr char cow_CountedHldPath[] = "include/cow_CountedHld";
} // namespace vlt::detail

// The number of holders sharing one object. Created at 1 by whoever creates a new holder.
//
// Counters come from a pool of small cells rather than from the general heap: every node of
// a linked container has one, and allocating them apart from the nodes, densely, keeps the
// nodes themselves close together and halves the allocator's work per node.
class cow_Counter {
public:
    cow_Counter() = default;

    VLTUTL_API static void* operator new(std::size_t size);
    VLTUTL_API static void operator delete(void* cell) noexcept;

    int32_t References() const { return value; }
    void Increment() { ++value; }
    // True when the last holder has gone and the object must be destroyed.
    bool Decrement() { return --value < 1; }

private:
    int32_t value = 1;
};

template <class T>
class cow_CountedHld {
public:
    explicit cow_CountedHld(T* p = nullptr) : count(new cow_Counter), object(p) {}

    cow_CountedHld(const cow_CountedHld& other) : count(other.count), object(other.object) {
        count->Increment();
    }

    // The source's counter goes up first, so assigning a holder to itself, or to another
    // holder of the same object, never destroys the object.
    cow_CountedHld& operator=(const cow_CountedHld& other) {
        other.count->Increment();
        DropReference();
        count = other.count;
        object = other.object;
        return *this;
    }

    // Adopts p. A shared object stays with the other holders; a private one is destroyed.
    cow_CountedHld& operator=(T* p) {
        if (count->References() != 1) {
            count->Decrement();
            count = new cow_Counter;
        } else {
            delete object;
        }
        object = p;
        return *this;
    }

    ~cow_CountedHld() {
        if (!count->Decrement()) {
            return;
        }
        Delete();
    }

    void DropReference() {
        if (count->Decrement()) {
            Delete();
        }
    }

    int32_t References() const { return count->References(); }
    bool HasValue() const { return object != nullptr; }

    // Exchanges what two holders hold, counters included: no count moves.
    void Swap(cow_CountedHld& other) noexcept {
        std::swap(count, other.count);
        std::swap(object, other.object);
    }

    // Read access never copies.
    const T* ConstPtr() const { return object; }
    const T& operator*() const { return *object; }
    const T* operator->() const { return object; }

protected:
    void Delete() {
        CRT_CHECK(count->References() >= 0, "count->References() >= 0",
                  vlt::detail::cow_CountedHldPath);
        if (object != nullptr) {
            delete object;
        }
        object = nullptr;
        delete count;
        count = nullptr;
    }

    T* MutablePtr() const { return object; }

private:
    cow_Counter* count;
    T* object;
};

// Copies with T's copy constructor.
template <class T>
struct cow_Direct {
    static T* Copy(const T& t) { return new T(t); }
};

// Copies through T's virtual clone operation, `Copy()` throughout the library (the exceptions,
// the tables, the trees), so that a handle to a base class copies the most derived object.
template <class T>
struct cow_Virtual {
    static T* Copy(const T& t) { return t.Copy(); }
};

template <class T, class Policy = cow_Direct<T>>
class cow_COW : public cow_CountedHld<T> {
public:
    explicit cow_COW(const T& t) : cow_CountedHld<T>(Policy::Copy(t)) {}
    explicit cow_COW(T* p) : cow_CountedHld<T>(p) {}
    cow_COW(const cow_COW&) = default;
    cow_COW& operator=(const cow_COW&) = default;
    cow_COW& operator=(T* p) {
        cow_CountedHld<T>::operator=(p);
        return *this;
    }
    ~cow_COW() = default;

    // Writable access: a shared object is copied first, and only this holder moves to the copy.
    T& Get() {
        if (this->References() != 1) {
            *this = Policy::Copy(*this->ConstPtr());
        }
        return *this->MutablePtr();
    }
};

template <class T, class Policy = cow_Direct<T>>
class cow_ArrayCOW : public cow_COW<T, Policy> {
public:
    cow_ArrayCOW() : cow_COW<T, Policy>(static_cast<T*>(nullptr)) {}
    explicit cow_ArrayCOW(T* p) : cow_COW<T, Policy>(p) {}
    cow_ArrayCOW(const cow_ArrayCOW&) = default;
    cow_ArrayCOW& operator=(const cow_ArrayCOW&) = default;
    cow_ArrayCOW& operator=(T* p) {
        cow_CountedHld<T>::operator=(p);
        return *this;
    }
    ~cow_ArrayCOW() = default;
};

#ifdef COW_COUNTEDHLD_POP_DIAGNOSTIC
#pragma GCC diagnostic pop
#undef COW_COUNTEDHLD_POP_DIAGNOSTIC
#endif

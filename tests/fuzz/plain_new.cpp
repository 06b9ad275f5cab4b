// The C library's memory for what is allocated with new. The plug-in allocates with malloc alone,
// so what is allocated with new belongs to the models: the address sanitizer need not see it.
#include <cstddef>
#include <cstdlib>
#include <new>

// The C library's own functions, behind those of the sanitizer.
extern "C" void *__libc_malloc(std::size_t size);
extern "C" void __libc_free(void *memory);

void *operator new(std::size_t size) {
    void *memory = __libc_malloc(size);
    if (memory == nullptr) {
        std::abort();
    }
    return memory;
}
void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept {
    return __libc_malloc(size);
}
void operator delete(void *memory) noexcept {
    __libc_free(memory);
}
void operator delete(void *memory, std::size_t /*size*/) noexcept {
    __libc_free(memory);
}

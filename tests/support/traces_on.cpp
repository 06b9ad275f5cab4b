// Preloaded into the plug-in host: turns on the plug-in's (debug) and (trace)
// lines. The plug-in's switches are exported variables, and of two variables of
// one name the preloaded one is in force for both.
namespace {

// With room behind it, of which AddressSanitizer makes no man's land when the plug-in is built
// with it.
struct alignas(32) Switch {
    int value;
};
static_assert(sizeof(Switch) == 32);

} // namespace

extern "C" {
extern Switch com_printf_flag;
extern Switch debug_bgp;

Switch com_printf_flag{1};
Switch debug_bgp{1};
}

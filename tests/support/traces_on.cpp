// Preloaded into the plug-in host: switches on the plug-in's debug and trace lines.
// The plug-in's switches are exported variables, and a preloaded variable replaces
// another one with the same name.
namespace {

// Followed by unused bytes: AddressSanitizer poisons them if the plug-in is built with it.
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

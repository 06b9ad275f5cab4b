// Preloaded into the plug-in host: turns on the plug-in's (debug) and (trace)
// lines. The plug-in's switches are exported variables, and of two variables of
// one name the preloaded one is in force for both.
extern "C" {
extern int com_printf_flag;
extern int debug_bgp;

int com_printf_flag = 1;
int debug_bgp = 1;
}

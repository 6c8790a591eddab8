// Stands for a kernel module: what a module's file states stands in its section .modinfo.
extern "C" {
[[gnu::section(".modinfo"), gnu::used, gnu::aligned(1)]] extern const char license[] =
    "license=GPL";
[[gnu::section(".modinfo"), gnu::used, gnu::aligned(1)]] extern const char version[] =
    "version=3.8.7-NAPI";
}

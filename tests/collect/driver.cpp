// Stands for a kernel module: what a module's file states stands in its section .modinfo. The
// version is neither the first nor the last of it.
extern "C" {
[[gnu::section(".modinfo"), gnu::used, gnu::aligned(1)]] extern const char license[] =
    "license=GPL";
[[gnu::section(".modinfo"), gnu::used, gnu::aligned(1)]] extern const char author[] =
    "author=Nobody";
[[gnu::section(".modinfo"), gnu::used, gnu::aligned(1)]] extern const char version[] =
    "version=3.8.7-NAPI";
[[gnu::section(".modinfo"), gnu::used, gnu::aligned(1)]] extern const char description[] =
    "description=Network driver";
[[gnu::section(".modinfo"), gnu::used, gnu::aligned(1)]] extern const char checksum[] =
    "srcversion=0123456789ABCDEF";
}

/* Gives headless sway's seat a pointer until killed, for `seat - cursor` commands; prints "ready" once attached. The two
 * interfaces of zwlr_virtual_pointer_manager_v1, up to the one request sent, are declared by hand: no wayland-scanner. */
#include <stdio.h>
#include <string.h>
#include <wayland-client.h>
static const struct wl_interface pointer_interface = {"zwlr_virtual_pointer_v1", 1, 0, NULL, 0, NULL};
static const struct wl_interface* create_types[] = {&wl_seat_interface, &pointer_interface};
static const struct wl_message create = {"create_virtual_pointer", "?on", create_types};
static const struct wl_interface manager_interface = {"zwlr_virtual_pointer_manager_v1", 1, 1, &create, 0, NULL};
static struct wl_proxy *manager, *seat;
static void global(void* data, struct wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
    if (strcmp(interface, manager_interface.name) == 0) manager = wl_registry_bind(registry, name, &manager_interface, 1);
    if (strcmp(interface, "wl_seat") == 0 && !seat) seat = wl_registry_bind(registry, name, &wl_seat_interface, 1);
}
static void global_remove(void* data, struct wl_registry* registry, uint32_t name) {}
static const struct wl_registry_listener listener = {global, global_remove};
int main(void) {
    struct wl_display* display = wl_display_connect(NULL);
    if (display) wl_registry_add_listener(wl_display_get_registry(display), &listener, NULL);
    if (!display || wl_display_roundtrip(display) < 0 || !manager || !seat ||
        !wl_proxy_marshal_constructor(manager, 0, &pointer_interface, seat, NULL) || wl_display_roundtrip(display) < 0) {
        fprintf(stderr, "virtual-pointer: no display, no seat, or no virtual pointers there\n");
        return 1;
    }
    puts("ready"); fflush(stdout);
    while (wl_display_dispatch(display) >= 0) {}
}

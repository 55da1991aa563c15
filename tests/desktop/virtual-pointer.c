/* Gives a headless wlroots compositor (sway) a pointer: one virtual pointer through
 * zwlr_virtual_pointer_manager_v1, kept until killed. Without an input device the seat has no
 * pointer, and sway's `seat - cursor` commands reach nobody; with it they click like a mouse.
 * The interfaces are declared by hand (the requests up to the ones sent, so that the opcodes
 * match), which spares a protocol file and wayland-scanner. Prints "ready" once attached. */
#include <stdio.h>
#include <string.h>
#include <wayland-client.h>

extern const struct wl_interface pointer_interface;
static const struct wl_interface* create_types[] = {&wl_seat_interface, &pointer_interface};
static const struct wl_message manager_requests[] = {{"create_virtual_pointer", "?on", create_types}};
static const struct wl_interface manager_interface = {
    "zwlr_virtual_pointer_manager_v1", 1, 1, manager_requests, 0, NULL};
const struct wl_interface pointer_interface = {"zwlr_virtual_pointer_v1", 1, 0, NULL, 0, NULL};

static struct wl_proxy* manager;
static struct wl_seat* seat;

static void global(void* data, struct wl_registry* registry, uint32_t name, const char* interface,
                   uint32_t version) {
    (void)data, (void)version;
    if (strcmp(interface, manager_interface.name) == 0) {
        manager = wl_registry_bind(registry, name, &manager_interface, 1);
    } else if (strcmp(interface, "wl_seat") == 0 && !seat) {
        seat = wl_registry_bind(registry, name, &wl_seat_interface, 1);
    }
}
static void global_remove(void* data, struct wl_registry* registry, uint32_t name) {
    (void)data, (void)registry, (void)name;
}
static const struct wl_registry_listener registry_listener = {global, global_remove};

int main(void) {
    struct wl_display* display = wl_display_connect(NULL);
    if (!display) {
        fprintf(stderr, "virtual-pointer: no Wayland display\n");
        return 1;
    }
    wl_registry_add_listener(wl_display_get_registry(display), &registry_listener, NULL);
    wl_display_roundtrip(display);
    if (!manager || !seat) {
        fprintf(stderr, "virtual-pointer: the compositor offers no %s\n", manager ? "seat" : manager_interface.name);
        return 1;
    }
    if (!wl_proxy_marshal_constructor(manager, 0, &pointer_interface, seat, NULL) || wl_display_roundtrip(display) < 0) {
        fprintf(stderr, "virtual-pointer: the compositor refused the device\n");
        return 1;
    }
    printf("ready\n");
    fflush(stdout);
    while (wl_display_dispatch(display) >= 0) {
    }
    return 0;
}

/* Gives a headless wlroots compositor (sway) a pointer: creates one virtual pointer through
 * zwlr_virtual_pointer_manager_v1 and keeps it until killed. Without an input device the seat
 * has no pointer capability, clients bind no wl_pointer, and sway's own `seat - cursor`
 * commands reach nobody; with this device attached they click like a mouse.
 *
 * The two interfaces are declared here by hand (only the requests this program sends and the
 * ones before them, so that the opcodes match), which spares the build a protocol file and
 * wayland-scanner. Prints "ready" once the compositor has the device. */
#include <stdio.h>
#include <string.h>
#include <wayland-client.h>

extern const struct wl_interface virtual_pointer_interface;

static const struct wl_interface* create_types[] = {&wl_seat_interface, &virtual_pointer_interface};
static const struct wl_message manager_requests[] = {
    {"create_virtual_pointer", "?on", create_types},
    {"destroy", "", NULL},
};
static const struct wl_interface manager_interface = {
    "zwlr_virtual_pointer_manager_v1", 1, 2, manager_requests, 0, NULL,
};

static const struct wl_interface* no_types[] = {NULL, NULL, NULL, NULL, NULL};
static const struct wl_message pointer_requests[] = {
    {"motion", "uff", no_types},          {"motion_absolute", "uuuuu", no_types},
    {"button", "uuu", no_types},          {"axis", "uuf", no_types},
    {"frame", "", no_types},              {"axis_source", "u", no_types},
    {"axis_stop", "uu", no_types},        {"axis_discrete", "uufi", no_types},
    {"destroy", "", no_types},
};
const struct wl_interface virtual_pointer_interface = {
    "zwlr_virtual_pointer_v1", 1, 9, pointer_requests, 0, NULL,
};

static struct wl_proxy* manager;
static struct wl_seat* seat;

static void global(void* data, struct wl_registry* registry, uint32_t name, const char* interface,
                   uint32_t version) {
    (void)data;
    (void)version;
    if (strcmp(interface, manager_interface.name) == 0) {
        manager = wl_registry_bind(registry, name, &manager_interface, 1);
    } else if (strcmp(interface, "wl_seat") == 0 && !seat) {
        seat = wl_registry_bind(registry, name, &wl_seat_interface, 1);
    }
}

static void global_remove(void* data, struct wl_registry* registry, uint32_t name) {
    (void)data;
    (void)registry;
    (void)name;
}

static const struct wl_registry_listener registry_listener = {global, global_remove};

int main(void) {
    struct wl_display* display = wl_display_connect(NULL);
    if (!display) {
        fprintf(stderr, "virtual-pointer: no Wayland display\n");
        return 1;
    }
    struct wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registry_listener, NULL);
    wl_display_roundtrip(display);
    if (!manager || !seat) {
        fprintf(stderr, "virtual-pointer: the compositor offers no %s\n",
                manager ? "seat" : manager_interface.name);
        return 1;
    }
    struct wl_proxy* pointer = wl_proxy_marshal_constructor(manager, 0, &virtual_pointer_interface,
                                                            seat, NULL);
    if (!pointer || wl_display_roundtrip(display) < 0) {
        fprintf(stderr, "virtual-pointer: the compositor refused the device\n");
        return 1;
    }
    printf("ready\n");
    fflush(stdout);
    while (wl_display_dispatch(display) >= 0) {
    }
    return 0;
}

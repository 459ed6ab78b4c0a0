// The resources library carries only compiled-in data (icons, font, translations); this
// translation unit gives the static library an object of its own so every linker keeps it.
namespace qv_resources {
int linked = 1;
}

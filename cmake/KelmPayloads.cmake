# The payloads: each source in payloads/ becomes <name>.efi. The firmware build makes them to be
# looked at, the host build for the simulated server, which carries them inside.
include_guard(GLOBAL)
include(KelmEfiImage)

set(KELM_PAYLOAD_IMAGES "")
file(GLOB payloads CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/payloads/*.cpp")
foreach(payload IN LISTS payloads)
    cmake_path(GET payload STEM name)
    kelm_efi_image(${name} SUBSYSTEM application SOURCES "${payload}")
    list(APPEND KELM_PAYLOAD_IMAGES "${CMAKE_BINARY_DIR}/${name}.efi")
endforeach()

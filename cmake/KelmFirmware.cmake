# The firmware build: the driver's image, and the payloads.
include(KelmEfiImage)
include(KelmPayloads)

kelm_sources(pure_sources library/pure)
kelm_sources(firmware_sources library/firmware library/cpu)
list(FILTER firmware_sources EXCLUDE REGEX "/library/cpu/CpuSimulated\\.cpp$")
kelm_sources(driver_sources KelmBdsDxe)
if(driver_sources)
    kelm_efi_image(KelmBdsDxe SUBSYSTEM boot_service_driver
        SOURCES ${pure_sources} ${firmware_sources} ${driver_sources})
endif()

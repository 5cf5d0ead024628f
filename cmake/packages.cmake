# The Debian packages, one for each component of the installation; scripts/package.sh makes them.

set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(packages_components switch)
if(SETMAC_SIMULATION)
    list(APPEND packages_components station simboard)
endif()
if(TARGET setmac-ledger)
    list(APPEND packages_components ledger)
endif()
if(TARGET setmac-floor)
    list(APPEND packages_components floor)
endif()

# package_documents(COMPONENT PACKAGE): what every package holds about itself.
configure_file(${packaging}/changelog.in ${PROJECT_BINARY_DIR}/changelog @ONLY)
execute_process(COMMAND gzip -9nkf changelog
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR} COMMAND_ERROR_IS_FATAL ANY)
function(package_documents component package)
    install(FILES ${packaging}/copyright ${PROJECT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endfunction()
package_documents(switch setmac)

# package_completions(COMPONENT COMMAND)
function(package_completions component command)
    install(FILES ${packaging}/completions/bash/${command}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT ${component})
    install(FILES ${packaging}/completions/zsh/_${command}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT ${component})
endfunction()
if(SETMAC_SIMULATION)
    package_documents(station setmac-station)
    package_documents(simboard setmac-simboard)
    package_completions(station setmac-station)
    package_completions(simboard simboard)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/setmac-station/examples COMPONENT station)
endif()
if(TARGET setmac-ledger)
    package_documents(ledger setmac-ledger)
    package_completions(ledger setmac-ledger)
endif()
if(TARGET setmac-floor)
    package_documents(floor setmac-floor)
    package_completions(floor setmac-floor)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${packages_components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PRE_BUILD_SCRIPTS ${packaging}/debian_files.cmake)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "setmac maintainers <maintainers@setmac.example.com>")
if(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()

# Versions of libraries are those of the Debian release that the packages are built on and for.
set(CPACK_DEBIAN_SWITCH_PACKAGE_NAME setmac)
set(CPACK_DEBIAN_SWITCH_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_SWITCH_PACKAGE_DEPENDS "libc6 (>= 2.36)")
set(CPACK_DEBIAN_SWITCH_PACKAGE_SUGGESTS setmac-simboard)
set(CPACK_COMPONENT_SWITCH_DESCRIPTION
"identity provisioning for network switches
Writes the identity of a network switch into its flash or its system
EEPROM: MAC address, serial number, product and country fields. An
operator types them on the switch, or a PC sends them over the serial
console.

To start, the programs need two libraries of the switch's maker,
libdev_drv.so and libsetmac_fallback.so, which are no part of any package.
setmac-simboard has stand-ins for them, on which the programs can be tried.")

set(CPACK_DEBIAN_STATION_PACKAGE_NAME setmac-station)
set(CPACK_DEBIAN_STATION_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_STATION_PACKAGE_DEPENDS
    "libc6 (>= 2.36), libgcc-s1 (>= 12), libre2-9 (>= 20220601), libstdc++6 (>= 12), libserialport0 (>= 0.1.1), libtomlplusplus3 (>= 3.3)")
set(ledger_depends "libpq5 (>= 15), libsqlite3-0 (>= 3.40), libssl3 (>= 3.0)")
if(TARGET ledger)
    string(APPEND CPACK_DEBIAN_STATION_PACKAGE_DEPENDS ", ${ledger_depends}")
endif()
set(CPACK_DEBIAN_STATION_PACKAGE_SUGGESTS "setmac-simboard, setmac-ledger")
set(CPACK_COMPONENT_STATION_DESCRIPTION
"PC side of the identity provisioning for network switches
Sends the values of a job file to a switch over its serial console, names
every refusal in words, compares what came back with what was sent, and ends
with success only when the switch has confirmed that all is stored.

With setmac-simboard, a job can be tried before there is a switch.")

set(CPACK_DEBIAN_SIMBOARD_PACKAGE_NAME setmac-simboard)
set(CPACK_DEBIAN_SIMBOARD_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_SIMBOARD_PACKAGE_DEPENDS
    "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12), zlib1g (>= 1:1.2)")
set(CPACK_DEBIAN_SIMBOARD_PACKAGE_RECOMMENDS "setmac, setmac-station")
set(CPACK_COMPONENT_SIMBOARD_DESCRIPTION
"simulated boards for the provisioning of network switches
Makes simulated switch boards and runs unmodified programs on them: flash,
EEPROMs, an FPGA with the units behind its bridge, and stand-ins for the
libraries of the switch's maker. A board is a folder that can be looked at,
and that keeps a log of what programs did on it.")

set(CPACK_DEBIAN_LEDGER_PACKAGE_NAME setmac-ledger)
set(CPACK_DEBIAN_LEDGER_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_LEDGER_PACKAGE_DEPENDS
    "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12), ${ledger_depends}")
set(CPACK_DEBIAN_LEDGER_PACKAGE_SUGGESTS "setmac-station, postgresql")
set(CPACK_COMPONENT_LEDGER_DESCRIPTION
"identities of network switches, handed out once
Gives each label a serial number and MAC addresses that no other label gets,
keeps what became of them and what was read back, and finds a switch by its
label, serial number or any of its addresses.

A ledger is a file, or a PostgreSQL database that several stations share.")

set(CPACK_DEBIAN_FLOOR_PACKAGE_NAME setmac-floor)
set(CPACK_DEBIAN_FLOOR_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_FLOOR_PACKAGE_DEPENDS
    "libc6 (>= 2.36), libgcc-s1 (>= 12), libpq5 (>= 15), libre2-9 (>= 20220601), libserialport0 (>= 0.1.1), libsqlite3-0 (>= 3.40), libssl3 (>= 3.0), libstdc++6 (>= 12), libtomlplusplus3 (>= 3.3), libudev1 (>= 252)")
set(CPACK_DEBIAN_FLOOR_PACKAGE_RECOMMENDS "setmac-ledger, systemd")
set(CPACK_DEBIAN_FLOOR_PACKAGE_SUGGESTS "setmac-simboard, postgresql")
set(CPACK_DEBIAN_FLOOR_PACKAGE_CONTROL_EXTRA "${packaging}/floor/postinst;${packaging}/floor/prerm")
set(CPACK_COMPONENT_FLOOR_DESCRIPTION
"many network switches provisioned at once
Watches all serial consoles of a line's PC, gives each switch the identity
that the ledger has for its label, and shows the operators on a page how far
each of them is. What happens is in the ledger before anybody sees it.

With setmac-simboard, a floor can be tried before there is a switch.")

include(CPack)

# The Debian packages: cpack in a build tree that was configured with the prefix /usr (presets package, packageArmhf).
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL console tools bench)
set(CPACK_SET_DESTDIR ON)  # /etc lies outside the prefix
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "Receiver console maintainers <maintainers@receiver.invalid>")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_COMPONENT_CONSOLE_DESCRIPTION "text consoles of an HDBaseT receiver
externalComd serves the RS-232 console port of the receiver, internalComd the
serial link over the HDBaseT cable: command lines in, one reply line each out.

With service units, bus policy and the reference of all commands.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "stores and bus of an HDBaseT receiver, from a shell
platformctl reads and changes the settings, live state and factory data that
the programs of a receiver share, publishes and watches events, and makes and
answers local procedure calls.")
set(CPACK_COMPONENT_BENCH_DESCRIPTION "HDBaseT receiver on your desk
receiver-bench starts all that a receiver is, without hardware: both consoles,
a private bus, stores in a directory of your choice, and stand-ins for the
peer services.")

set(stated "")
if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps cannot look into packages that are unpacked but not installed. These are what it finds for the same
  # sources on a 64-bit machine; a test compares.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  string(CONCAT stated "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libjson-c5 (>= 0.15), libsqlite3-0 (>= 3.20.0), "
                       "libstdc++6 (>= 12), libsystemd0 (>= 246), ")
else()
  set(CPACK_DEBIAN_CONSOLE_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_BENCH_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_DEBIAN_CONSOLE_PACKAGE_NAME receiver-console)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_DEPENDS "${stated}adduser, default-dbus-system-bus | dbus-system-bus")
set(CPACK_DEBIAN_CONSOLE_PACKAGE_RECOMMENDS "polkitd")
set(CPACK_DEBIAN_CONSOLE_PACKAGE_SUGGESTS "receiver-tools")
set(CPACK_DEBIAN_CONSOLE_PACKAGE_CONTROL_EXTRA
  "${CMAKE_CURRENT_LIST_DIR}/debian/conffiles"
  "${CMAKE_CURRENT_LIST_DIR}/debian/postinst"
  "${CMAKE_CURRENT_LIST_DIR}/debian/postrm"
  "${CMAKE_CURRENT_LIST_DIR}/debian/prerm")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME receiver-tools)
string(REGEX REPLACE ", $" "" CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${stated}")
set(CPACK_DEBIAN_BENCH_PACKAGE_NAME receiver-bench)
if(stated)
  string(APPEND stated "libedit2 (>= 2.11-20080614-0), ")  # the bench edits lines
endif()
set(CPACK_DEBIAN_BENCH_PACKAGE_DEPENDS
  "${stated}receiver-console (= ${PROJECT_VERSION}), receiver-tools (= ${PROJECT_VERSION}), dbus-daemon")
foreach(component console tools bench)
  set(documents "${CMAKE_INSTALL_DATADIR}/doc/receiver-${component}")
  install(FILES debian/copyright DESTINATION "${documents}" COMPONENT ${component})
  receiver_install_compressed(debian/changelog changelog "${documents}" ${component})
endforeach()

include(CPack)
foreach(component console tools bench)
  cpack_add_component(${component} REQUIRED)
endforeach()

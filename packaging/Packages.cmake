# The packages that CPack makes, one for each install component.

set(CPACK_GENERATOR DEB RPM)
set(CPACK_PACKAGE_NAME nvmepcissd)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each component has its own
set(CPACK_PACKAGE_CONTACT "NVMe PCIe SSD component maintainers <maintainers@nvmepcissd.example>")
set(CPACK_PACKAGE_VENDOR "NVMe PCIe SSD component maintainers")
set(CPACK_COMPONENTS_ALL ${install_components})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_SOURCE_DIR}/PackagingRun.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/StagedFolders.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/FinishedPackages.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_MAIN_COMPONENT runtime)
set(CPACK_RPM_PACKAGE_LICENSE "none chosen")
set(CPACK_RPM_PACKAGE_GROUP System)
# Folders that others own, too; the package owns those below them that bear its name.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION /usr/libexec /usr/share/pkgconfig
  /usr/share/man /usr/share/man/man1 /usr/share/man/man8
  /usr/share/bash-completion /usr/share/bash-completion/completions
  /usr/share/zsh /usr/share/zsh/vendor-completions /usr/share/fish /usr/share/fish/vendor_completions.d
  /usr/share/ansible /usr/share/ansible/collections /usr/share/ansible/collections/ansible_collections
  /usr/lib/systemd /usr/lib/systemd/system
  /usr/lib/debug /usr/lib/debug/.build-id)
# The rollback library is the platform's, which need not have it in a package. The time of the sources stands for that
# of the build, and no machine's name is in the package: two builds are equal.
set(CPACK_RPM_SPEC_MORE_DEFINE "%global __requires_exclude ^librbkl\\\\.so
%global __provides_exclude_from ^/usr/libexec/.*$
%define _build_id_links none
%define use_source_date_epoch_as_buildtime Y
%define clamp_mtime_to_source_date_epoch Y
%define _buildhost localhost")

# describe(COMPONENT DEBIAN_NAME RPM_NAME SECTION SUMMARY TEXT): the first line of a description is its summary.
macro(describe component debian_name rpm_name section summary text)
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_COMPONENT_${COMPONENT}_DESCRIPTION "${summary}\n${text}")
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${debian_name})
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section})
  set(CPACK_RPM_${component}_PACKAGE_NAME ${rpm_name})
  set(CPACK_RPM_${component}_PACKAGE_SUMMARY "${summary}")
  set(CPACK_RPM_${component}_PACKAGE_DESCRIPTION "${text}")
endmacro()

describe(runtime nvmepcissd nvmepcissd admin
  "NVMe PCIe SSD firmware component of a server-update framework"
  "Lists NVMe PCIe drives and updates their firmware through the drive maker's
library, started by an outer updater. Comes with nvmepcissd-tool, which
checks component folders and shows result documents. The drive library and
the rollback library librbkl.so.0, without which the component does not
start, belong to the platform.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS nvmepcissd-simulator)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/runtime/postrm)

describe(simulator nvmepcissd-simulator nvmepcissd-simulator admin
  "stand-ins for the platform of nvmepcissd, for trials and tests"
  "Simulated drive, rollback and hardware-access libraries, an install script,
a sample package and drive scenarios. They go into the component folder of
nvmepcissd, which then runs without any drive. Not for production: the
drives that it finds do not exist.")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/simulator/postrm)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "nvmepcissd (= ${PROJECT_VERSION})")
set(CPACK_RPM_simulator_PACKAGE_REQUIRES "nvmepcissd = ${PROJECT_VERSION}")

describe(development nvmepcissd-dev nvmepcissd-devel devel
  "headers for the libraries that nvmepcissd loads"
  "The binary interfaces of the drive library libnvme.so and of the rollback
library librbkl.so.0, for those who write one, with their documentation and
an example of each.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_ARCHITECTURE all)
set(CPACK_RPM_development_PACKAGE_ARCHITECTURE noarch)

describe(runtime-debug nvmepcissd-dbgsym nvmepcissd-debuginfo debug
  "debug symbols for nvmepcissd"
  "What debuggers need to show functions, variables and lines of nvmepcissd, of
its drive library and of nvmepcissd-tool, which were stripped. They find the
symbols by the build ids of the files.")
set(CPACK_DEBIAN_RUNTIME-DEBUG_PACKAGE_DEPENDS "nvmepcissd (= ${PROJECT_VERSION})")
set(CPACK_RPM_runtime-debug_PACKAGE_REQUIRES "nvmepcissd = ${PROJECT_VERSION}")

describe(simulator-debug nvmepcissd-simulator-dbgsym nvmepcissd-simulator-debuginfo debug
  "debug symbols for nvmepcissd-simulator"
  "What debuggers need to show functions, variables and lines of the simulated
drive, rollback and hardware-access libraries, which were stripped. They find
the symbols by the build ids of the files.")
set(CPACK_DEBIAN_SIMULATOR-DEBUG_PACKAGE_DEPENDS "nvmepcissd-simulator (= ${PROJECT_VERSION})")
set(CPACK_RPM_simulator-debug_PACKAGE_REQUIRES "nvmepcissd-simulator = ${PROJECT_VERSION}")

include(CPack)

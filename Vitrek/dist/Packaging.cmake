# The Debian package, made by `cpack` in a build folder: the install component "system" under /usr, with
# its Depends worked out by dpkg-shlibdeps from the libraries the program links.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vitrek)
set(CPACK_PACKAGE_VENDOR "The Vitrek developers")
set(CPACK_PACKAGE_CONTACT "The Vitrek developers <hello@${VITREK_WEB_ADDRESS}>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "daily check-up of this computer: recovery, strain, rest and age")
# Lines under 80 columns, as the package's description is shown in a terminal.
string(JOIN "\n" CPACK_PACKAGE_DESCRIPTION
    "Vitrek gives the computer a daily check-up in the words of a fitness tracker."
    "While it runs it takes a reading every minute (processor load, battery health"
    "and charge, free storage, memory pressure and swap, temperature, time since"
    "the last restart) and works out four daily figures: Recovery, Strain, Rest"
    "with the night's wake-ups and their causes, and an age estimate with its pace."
    "It keeps a day-by-day history with streaks, a daily tip, a health monitor of"
    "vitals with healthy ranges, a stress chart and a share card. Everything is"
    "computed on the machine.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)

# One package holding only the system layout; a plain install still writes the program folder.
set(CPACK_COMPONENTS_ALL system)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)

set(CPACK_DEBIAN_PACKAGE_NAME vitrek)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://${VITREK_WEB_ADDRESS}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The nights come from the journal and the charge history from the power daemon; Vitrek runs without them.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "systemd, upower")
# Directories in the package are 0755 whatever the umask of the machine that builds it.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

include(CPack)

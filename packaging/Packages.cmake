# Debian packages by CPack: morv (program), morv-lv2 and morv-data. `scripts/package` makes them.
file(STRINGS debian/changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^morv \\(${PROJECT_VERSION}\\) ")
  message(FATAL_ERROR "packaging/debian/changelog begins with '${newest}' and not with version ${PROJECT_VERSION}")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME morv)
set(CPACK_PACKAGE_VENDOR "MORV developers")
set(CPACK_PACKAGE_CONTACT "MORV developers <developers@morv.org>")
set(CPACK_PACKAGE_HOMEPAGE_URL https://morv.org)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL program doc lv2 data)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

# The first line of each description is the short one, so there is no other; lines of one dot part paragraphs.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(about "MORV is a software synthesizer of eight voices, each a band-limited wavetable
oscillator with sub oscillator and noise, a filter that sweeps from low-pass
over notch to high-pass, drive, two envelopes and an LFO, wired through a
modulation matrix that works on every sample. It understands MIDI and MPE,
and has an arpeggiator, chorus, plate reverb and echo.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME morv)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "morv-data (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "jackd2 | pipewire-jack")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS morv-lv2)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "polyphonic software synthesizer
${about}
.
This package contains the program, which plays live over JACK or ALSA and
renders MIDI files to sound files. It runs in a terminal.")

# The plug-in's bundle is complete in itself, as hosts may copy it.
set(CPACK_DEBIAN_LV2_PACKAGE_NAME morv-lv2)
set(CPACK_DEBIAN_LV2_PACKAGE_PROVIDES lv2-plugin)
set(CPACK_DEBIAN_LV2_PACKAGE_SUGGESTS "jalv | lv2-host")
set(CPACK_DEBIAN_LV2_DESCRIPTION "polyphonic software synthesizer - LV2 plug-in
${about}
.
This package contains the LV2 plug-in with its factory presets, and ten effects
as LV2 plug-ins of their own: choruses, reverbs, echoes, a phaser and a
spectrum analyser.")

set(CPACK_DEBIAN_DATA_PACKAGE_NAME morv-data)
set(CPACK_DEBIAN_DATA_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DATA_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DATA_PACKAGE_RECOMMENDS morv)
set(CPACK_DEBIAN_DATA_DESCRIPTION "polyphonic software synthesizer - presets
${about}
.
This package contains the factory presets of the program.")

include(CPack)
cpack_add_component_group(program)
cpack_add_component_group(lv2)
cpack_add_component_group(data)
cpack_add_component(program GROUP program)
cpack_add_component(doc GROUP program)
cpack_add_component(lv2 GROUP lv2)
cpack_add_component(data GROUP data)

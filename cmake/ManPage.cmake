# The manual page kpxml(1): written in scdoc's markup (docs/kpxml.1.scd), turned into roff by
# scdoc and compressed as Debian ships manual pages. Makes the target kpxml_man_page and the file
# ${KPXML_MAN_PAGE} (kpxml.1.gz in this folder's build folder).
find_program(KPXML_SCDOC scdoc)
if(NOT KPXML_SCDOC)
  message(FATAL_ERROR "scdoc, which makes the kpxml manual page, is missing: run tools/install-deps.sh, "
    "or configure with -DKPXML_BUILD_TOOLS=OFF")
endif()
set(KPXML_MAN_PAGE ${CMAKE_CURRENT_BINARY_DIR}/kpxml.1.gz)
add_custom_command(
  OUTPUT ${KPXML_MAN_PAGE}
  COMMAND sh -c "\"$0\" <\"$1\" >\"$2\" && gzip -9n -f \"$2\"" ${KPXML_SCDOC}
          ${PROJECT_SOURCE_DIR}/docs/kpxml.1.scd ${CMAKE_CURRENT_BINARY_DIR}/kpxml.1
  DEPENDS ${PROJECT_SOURCE_DIR}/docs/kpxml.1.scd
  COMMENT "Making the manual page kpxml.1 from docs/kpxml.1.scd"
  VERBATIM)
add_custom_target(kpxml_man_page ALL DEPENDS ${KPXML_MAN_PAGE})

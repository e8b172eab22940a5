# What is installed, and the Debian package of it. scripts/package makes the packages.
include(GNUInstallDirs)
set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/vesk)

# The manual and the completions are made by the program itself, so that they say what it takes.
set(PACKAGED ${CMAKE_BINARY_DIR}/packaged)
file(MAKE_DIRECTORY ${PACKAGED})
string(TIMESTAMP RELEASE_DATE "%Y-%m-%d" UTC)  # today, or the day of SOURCE_DATE_EPOCH
foreach(page vesk.1 vesk-mcp.1)
  add_custom_command(OUTPUT ${PACKAGED}/${page}.gz DEPENDS vesk
    COMMAND vesk packaged ${page} --date ${RELEASE_DATE} > ${PACKAGED}/${page}
    COMMAND gzip -9nf ${PACKAGED}/${page})
  list(APPEND PACKAGED_FILES ${PACKAGED}/${page}.gz)
endforeach()
foreach(shell bash zsh fish)
  add_custom_command(OUTPUT ${PACKAGED}/vesk.${shell} DEPENDS vesk
    COMMAND vesk completions ${shell} > ${PACKAGED}/vesk.${shell})
  list(APPEND PACKAGED_FILES ${PACKAGED}/vesk.${shell})
endforeach()
add_custom_command(OUTPUT ${PACKAGED}/manifest.json DEPENDS vesk
  COMMAND vesk packaged manifest.json > ${PACKAGED}/manifest.json)
add_custom_command(OUTPUT ${PACKAGED}/changelog.gz DEPENDS ${CMAKE_SOURCE_DIR}/packaging/changelog
  COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/packaging/changelog > ${PACKAGED}/changelog.gz)
list(APPEND PACKAGED_FILES ${PACKAGED}/manifest.json ${PACKAGED}/changelog.gz)
add_custom_target(packaged ALL DEPENDS ${PACKAGED_FILES})

install(TARGETS vesk vesk-mcp)
install(FILES ${PACKAGED}/vesk.1.gz ${PACKAGED}/vesk-mcp.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PACKAGED}/vesk.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vesk)
install(FILES ${PACKAGED}/vesk.zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions RENAME _vesk)
install(FILES ${PACKAGED}/vesk.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES README.md packaging/copyright ${PACKAGED}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples/vault/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vesk/sample-vault)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vesk)
set(CPACK_PACKAGE_CONTACT "The Vesk developers <maintainers@vesk.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "personal knowledge system over a folder of Markdown notes")
set(CPACK_PACKAGE_DESCRIPTION
"Vesk works on an ordinary folder of Markdown notes, which any editor can have
open at the same time. It arranges the folder by a method, finds things in it,
keeps its tasks, plans days, and reads mail.
.
Its tool server, vesk-mcp, serves the notes to an AI assistant, under switches
and an approval level that are the user's to set.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION text)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# For sync, for the certificates of mail servers, and for where the desktop keeps passwords.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "git, ca-certificates, libsecret-1-0")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)

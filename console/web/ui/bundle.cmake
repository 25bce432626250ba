# Builds the browser's part into a C++ source, `ui_bundle`: packages by their lock file, then one bundle.
set(ui ${CMAKE_CURRENT_LIST_DIR})
set(ui_bundle ${CMAKE_BINARY_DIR}/ui_bundle.cpp)
find_program(NPM npm REQUIRED)
find_program(NODE node REQUIRED)
file(GLOB ui_sources CONFIGURE_DEPENDS ${ui}/src/* ${ui}/*.mjs ${ui}/*.html ${ui}/*.svg)

# Other build folders share the packages, so one installs while the others wait. What stands there stays: packages that
# were new again would have the others bundle and link anew, beneath the tests that run by then.
set(lock node_modules/.package-lock.json)
add_custom_command(
  OUTPUT ${ui}/node_modules/.package-lock.json
  COMMAND flock ${ui} sh -c "[ ${lock} -nt package-lock.json -a ${lock} -nt package.json ] || ${NPM} ci --no-audit --no-fund --loglevel=error"
  DEPENDS ${ui}/package.json ${ui}/package-lock.json
  WORKING_DIRECTORY ${ui}
  COMMENT "Installing the packages of the browser's part"
  VERBATIM)
add_custom_command(
  OUTPUT ${ui_bundle}
  COMMAND ${NODE} bundle.mjs ${ui_bundle}
  DEPENDS ${ui_sources} ${ui}/node_modules/.package-lock.json
  WORKING_DIRECTORY ${ui}
  COMMENT "Bundling the browser's part"
  VERBATIM)

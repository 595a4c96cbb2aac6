# The include roots that make the layering a build rule instead of a habit.
#
# Every include is written from one root, prefixed by its folder ("library/SnippetEntity.h",
# "platform/api/Scheduler.h"). The outer ring (app, cli, the platform backends, tests) sees the
# whole src/ tree. The logic libraries see a root built here out of links to the logic folders
# and platform/api only, plus a folder of stand-ins for the system headers they must not use
# (X11, xcb, xkbcommon, SQLite, QtKeychain, Qt Widgets), each an #error: a wrong include stops
# the build at the line that wrote it.

set(SCRIVLANE_LOGIC_FOLDERS text common library expansion macros richtext ai backup sync sound
    models)
set(SCRIVLANE_POISONED_HEADERS
    X11/Xlib.h X11/Xutil.h X11/Xatom.h X11/XKBlib.h X11/keysym.h X11/extensions/XTest.h
    X11/extensions/record.h xcb/xcb.h xcb/xfixes.h xkbcommon/xkbcommon.h xkbcommon/xkbcommon-x11.h
    xkbcommon/xkbcommon-compose.h sqlite3.h qt6keychain/keychain.h keychain.h
    QWidget QApplication QtWidgets/QWidget QtWidgets/QApplication QtWidgets/QtWidgets)

# scrivlane_include_root(NAME FOLDER...): a root holding links to the named src/ folders.
function(scrivlane_include_root name)
  set(root ${PROJECT_BINARY_DIR}/include/${name})
  foreach(folder IN LISTS ARGN)
    get_filename_component(parent ${root}/${folder} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    if(NOT IS_SYMLINK ${root}/${folder})
      file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${folder} ${root}/${folder} SYMBOLIC)
    endif()
  endforeach()
  add_library(scrivlane_root_${name} INTERFACE)
  target_include_directories(scrivlane_root_${name} INTERFACE ${root})
endfunction()

set(poison ${PROJECT_BINARY_DIR}/include/poison)
foreach(header IN LISTS SCRIVLANE_POISONED_HEADERS)
  file(CONFIGURE OUTPUT ${poison}/${header} CONTENT
    "#error \"<${header}> in a logic library: logic libraries reach the system only through platform/api\"\n")
endforeach()

scrivlane_include_root(logic ${SCRIVLANE_LOGIC_FOLDERS} platform/api)
# The store alone also sees the typed SQLite wrapper (never <sqlite3.h> itself).
scrivlane_include_root(store platform/sqlite)
# The windows see the logic, the models and themselves, never a backend.
scrivlane_include_root(ui ui)

add_library(scrivlane_root_all INTERFACE)
target_include_directories(scrivlane_root_all INTERFACE ${PROJECT_SOURCE_DIR}/src)

# What every logic library is built with; private, so it never reaches the outer ring.
add_library(scrivlane_logic_boundary INTERFACE)
target_include_directories(scrivlane_logic_boundary BEFORE INTERFACE ${poison})

# scrivlane_logic_library(TARGET): TARGET sees the logic root only.
function(scrivlane_logic_library target)
  target_link_libraries(${target} PUBLIC scrivlane_root_logic
    PRIVATE scrivlane_logic_boundary scrivlane_warnings)
endfunction()

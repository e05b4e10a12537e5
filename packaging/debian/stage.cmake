# The distribution's plug-ins belong to its Qt, and change with it: links, no copies.
file(GLOB folders RELATIVE ${tree}/lib/plugins ${tree}/lib/plugins/*)
foreach(folder ${folders})
  file(REMOVE_RECURSE ${tree}/lib/plugins/${folder})
  file(CREATE_LINK ${CPACK_TESSEL_QT_PLUGINS}/${folder} ${tree}/lib/plugins/${folder} SYMBOLIC)
endforeach()

# Put in its place once the package is checked, by the step after the installation.
file(RENAME ${tree}/INFO ${tree}/package/INFO)

# What the desktop and the manual find only where they look for it.
set(share ${stage}/usr/share)
set(from ${CPACK_TESSEL_SOURCES}/packaging)
set(id com.aldane.tessel)
file(INSTALL ${from}/desktop/${id}.desktop DESTINATION ${share}/applications)
file(INSTALL ${from}/desktop/${id}.metainfo.xml DESTINATION ${share}/metainfo)
file(INSTALL ${from}/desktop/${id}.svg DESTINATION ${share}/icons/hicolor/scalable/apps)
foreach(size 48 64 128 256)
  file(INSTALL ${from}/desktop/${id}-${size}.png
    DESTINATION ${share}/icons/hicolor/${size}x${size}/apps RENAME ${id}.png)
endforeach()
foreach(program tessel-launcher tessel-package tessel-doctor)
  file(INSTALL ${from}/man/${program}.1 DESTINATION ${share}/man/man1)
  run(gzip -9 -n -f ${share}/man/man1/${program}.1)
endforeach()

set(doc ${share}/doc/${CPACK_PACKAGE_NAME})
file(INSTALL ${CPACK_TESSEL_SOURCES}/docs/administration.md ${CPACK_TESSEL_SOURCES}/docs/client-package.md
  ${from}/debian/copyright DESTINATION ${doc})
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
file(WRITE ${doc}/changelog.Debian
"${CPACK_PACKAGE_NAME} (${version}) unstable; urgency=medium

  * See CHANGELOG.md of the sources.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
run(gzip -9 -n -f ${doc}/changelog.Debian)
file(INSTALL ${from}/debian/lintian-overrides DESTINATION ${share}/lintian/overrides
  RENAME ${CPACK_PACKAGE_NAME})

# What 'cmake --install' puts where.

# The libraries have no versions and no place among those of the system: they stand with the modules,
# where the service looks, beside its own library.
set(private_dir ${CMAKE_INSTALL_LIBDIR}/nvqdrv)
install(TARGETS nvqscan RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS nvqplatform nvqservice nvqdrv nvqsim nvqsane LIBRARY DESTINATION ${private_dir})
set_target_properties(nvqscan PROPERTIES INSTALL_RPATH "\$ORIGIN/../${private_dir}")
set_target_properties(nvqplatform nvqservice nvqdrv nvqsim nvqsane
  PROPERTIES INSTALL_RPATH "\$ORIGIN")
set_target_properties(sane-nvq PROPERTIES INSTALL_RPATH "\$ORIGIN/../nvqdrv")
install(FILES tools/completion/nvqscan.bash RENAME nvqscan
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES docs/nvqscan.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

# Programs of SANE load the back end by its name, which dll.d tells them.
install(TARGETS sane-nvq LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/sane NAMELINK_SKIP)
install(FILES sane-backend/nvq.conf DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/sane.d)
install(FILES sane-backend/nvq.dll RENAME nvq DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/sane.d/dll.d)

# For those who write a toolkit module: the interfaces, the platform layer, an example.
set(headers_dir ${CMAKE_INSTALL_INCLUDEDIR}/nvqdrv)
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_to_prefix /prefix/${pc_dir} /prefix)
configure_file(cmake/nvqdrv.pc.in nvqdrv.pc @ONLY)
file(GLOB platform_headers CONFIGURE_DEPENDS platform/*.h)
install(FILES controller/toolkit.h controller/toolkit_records.h
  DESTINATION ${headers_dir}/controller COMPONENT dev)
install(FILES cmake/module.map DESTINATION ${headers_dir} COMPONENT dev)
install(FILES ${platform_headers} DESTINATION ${headers_dir}/platform COMPONENT dev)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/nvqdrv.pc DESTINATION ${pc_dir} COMPONENT dev)
install(DIRECTORY docs/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev)

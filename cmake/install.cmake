# What 'cmake --install' puts where.

set(modules_dir ${CMAKE_INSTALL_LIBDIR}/nvqdrv)  # where the service looks, beside its own library
install(TARGETS nvqscan RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS nvqplatform nvqservice LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS nvqdrv nvqsim LIBRARY DESTINATION ${modules_dir})
install(FILES tools/completion/nvqscan.bash RENAME nvqscan
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES docs/nvqscan.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

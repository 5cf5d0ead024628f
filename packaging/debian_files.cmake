# Run before a package is put together: what Debian wants otherwise than a plain installation has it.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/*.[18])
foreach(page IN LISTS pages)
    execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# There the loader's own folders are the place for libraries.
file(GLOB_RECURSE programs ${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/*)
foreach(program IN LISTS programs)
    if(NOT IS_SYMLINK ${program})
        file(RPATH_REMOVE FILE ${program})
    endif()
endforeach()

# A package keeps the times of its files.
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference
    --date=@$ENV{SOURCE_DATE_EPOCH} {} + COMMAND_ERROR_IS_FATAL ANY)

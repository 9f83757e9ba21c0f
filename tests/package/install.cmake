# Installs TREE below FOLDER and builds a copy of EXAMPLES with it, one of them with the static library
# too. The installed tree is moved before its first use, because it must not depend on its place.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
file(COPY ${EXAMPLES}/ DESTINATION ${FOLDER}/examples)

function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

run(${CMAKE_COMMAND} --install ${TREE} --prefix ${FOLDER}/first)
file(RENAME ${FOLDER}/first ${FOLDER}/prefix)

set(warnings "-Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Werror")
set(zrpclient_examples all)
set(zrpclient_static_examples list_volumes)
foreach(library zrpclient zrpclient_static)
    run(${CMAKE_COMMAND} -S ${FOLDER}/examples -B ${FOLDER}/${library} -G ${GENERATOR}
        -D CMAKE_PREFIX_PATH=${FOLDER}/prefix -D ZRPCLIENT=zrpclient::${library}
        -D CMAKE_CXX_COMPILER=${COMPILER} -D "CMAKE_CXX_FLAGS=${FLAGS} ${warnings}")
    run(${CMAKE_COMMAND} --build ${FOLDER}/${library} --target ${${library}_examples})
endforeach()

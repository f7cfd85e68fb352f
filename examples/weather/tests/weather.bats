load box

@test "tells of an outage" {
  box send weather report --expect 'net=1'
  box mark                                       # it has asked the router before
  box wan down                                   # state and event 257
  box expect router query_router_wan_status --from weather --within 2s
  box send weather report --expect 'net=0.*257'
  box expect no event --from weather
}

@test "a slow router does not stop messages" {
  box send weather hello --expect .              # it serves
  box fault router set_router_wan delay:9s once
  box send weather 'dns 9.9.9.9 1.1.1.1' --background
  box send weather hello --within 1s --expect .
  box expect router query_router_wan_status      # the fault is played by now, or soon
  box expect no output weather 'DNS servers'
}

@test "outlives the download daemon" {
  box stop downloads
  box send weather 'fetch http://127.0.0.1:8080/bytes/1000' --expect '-1'
  box start downloads
  box send weather 'fetch http://127.0.0.1:8080/bytes/1000'
  box expect download --of weather complete --within 5s
  box expect file weather:/data/forecast.bin --size 1000
  box restart weather && box expect object weather --within 2s
}

@test "asks the service for the city, and keeps it" {
  box send weather 'city Rome' --expect saved
  box expect output weather '^forecast for Rome: 0$' --within 5s
  box send weather report --expect 'city Rome, 18 degrees'
  box restart weather
  box send weather report --expect 'city Rome$'
}

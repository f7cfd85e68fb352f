// weather: a plug-in with most of what plug-ins have. It watches the WAN link, asks a weather service over HTTPS, has
// the router download a map, and keeps a setting in its own folder. Whatever asks another program is done by a worker,
// so that a slow router or service holds up no message. Needs the abilities 1 (download), 2 (cloud communication),
// 5 (receiving events) and 7 (WAN). Usage: weather FOLDER
//
// Messages:
//   hello           an answer at once
//   report          what is known
//   city NAME       sets the city, and asks for its forecast; it is the same after a restart
//   dns DNS1 DNS2   sets the router's DNS servers
//   fetch URL       downloads to FOLDER/forecast.bin; answers the result of the call
#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <sstream>
#include <string>

#include "../plugin.h"
#include "worker.h"

namespace {

using std::chrono::milliseconds;

constexpr const char* kService = "https://api.weather.example/v1/now?city=";
constexpr int kServiceLimitSeconds = 5;
constexpr milliseconds kPatience(1000), kBetweenLooks(50);

class Weather {
 public:
  explicit Weather(const std::string& folder) : folder_(folder), city_(read_city()) {
    worker_.post([this] { look_at_wan(); });
  }

  // Called by the service thread.
  std::string answer(const std::string& message);
  void hear(int subevent) {
    event_ = subevent;
    worker_.post([this] { look_at_wan(); });
  }

 private:
  struct Message {
    const char* word;
    std::string (Weather::*answer)(std::istringstream words);
  };
  static const std::array<Message, 5> kMessages;

  std::string greet(std::istringstream) { return "Good day! I am the weather."; }
  std::string report(std::istringstream);
  std::string set_city(std::istringstream words);
  std::string set_dns(std::istringstream words);
  std::string fetch(std::istringstream words);

  std::string read_city() const;
  // By the worker.
  void look_at_wan();
  void ask_service(const std::string& city);
  int start_download(const std::string& url);
  void follow_download(const std::string& id);

  const std::string folder_;
  std::string city_;  // the service thread's alone, after the constructor
  std::atomic<int> net_ = -1, event_ = 0, degrees_ = 0;
  std::atomic<bool> has_forecast_ = false;
  Worker worker_;  // the last member: it uses the others
};

const std::array<Weather::Message, 5> Weather::kMessages = {{{"hello", &Weather::greet},
                                                             {"report", &Weather::report},
                                                             {"city", &Weather::set_city},
                                                             {"dns", &Weather::set_dns},
                                                             {"fetch", &Weather::fetch}}};

std::string Weather::answer(const std::string& message) {
  std::istringstream words(message);
  std::string word;
  words >> word;
  for (const Message& known : kMessages)
    if (word == known.word) return (this->*known.answer)(std::move(words));
  return "I know hello, report, city NAME, dns DNS1 DNS2 and fetch URL.";
}

// What has just changed is worth a moment.
std::string Weather::report(std::istringstream) {
  worker_.wait_for(kPatience / 2);
  std::string text = "net=" + std::to_string(net_) + ", city " + city_;
  if (has_forecast_) text += ", " + std::to_string(degrees_) + " degrees";
  if (event_ != 0) text += ", the last event was " + std::to_string(event_);
  return text;
}

std::string Weather::set_city(std::istringstream words) {
  std::string city;
  words >> city;
  const auto is_letter = [](unsigned char c) { return std::isalpha(c) != 0; };
  if (city.empty() || !std::all_of(city.begin(), city.end(), is_letter)) return "no city: " + city;
  if (zel_save_string_to_file(city.c_str(), (folder_ + "/city").c_str()) != 0) return "not saved";
  city_ = city;
  worker_.post([this, city] { ask_service(city); });
  return "saved";
}

std::string Weather::set_dns(std::istringstream words) {
  std::string dns1, dns2;
  words >> dns1 >> dns2;
  worker_.post([dns1, dns2] {
    std::printf("DNS servers %s and %s: %d\n", dns1.c_str(), dns2.c_str(),
                zel_set_router_dns(dns1.c_str(), dns2.c_str()));
  });
  return "I shall tell the router.";
}

std::string Weather::fetch(std::istringstream words) {
  std::string url;
  words >> url;
  const auto result = std::make_shared<std::promise<int>>();
  std::future<int> started = result->get_future();
  worker_.post([this, url, result] { result->set_value(start_download(url)); });
  if (started.wait_for(kPatience) != std::future_status::ready) return "busy";
  return std::to_string(started.get());
}

std::string Weather::read_city() const {
  const std::unique_ptr<char, void (*)(void*)> text(zel_get_buf_from_file((folder_ + "/city").c_str()),
                                                    zel_free);
  return text ? text.get() : "Bern";
}

void Weather::look_at_wan() {
  zel_wan_status status;
  if (zel_get_wan_status(&status) == 0) net_ = status.WAN_NET;
}

void Weather::ask_service(const std::string& city) {
  char answer[ZEL_HTTP_RESULT_SIZE] = "";
  const int result = HttpGet(answer, (kService + city).c_str(), kServiceLimitSeconds, 1);
  const char* const degrees = std::strstr(answer, "\"degrees\":");
  has_forecast_ = result == 0 && degrees != nullptr;
  if (has_forecast_) degrees_ = std::atoi(degrees + std::strlen("\"degrees\":"));
  std::printf("forecast for %s: %d\n", city.c_str(), result);
  if (result == 0 && degrees == nullptr) std::printf("no degrees in it: %.60s\n", answer);
}

int Weather::start_download(const std::string& url) {
  const task_param wanted = {url.c_str(), folder_.c_str(), "forecast.bin"};
  char id[ZEL_TASK_ID_SIZE] = "";
  const int result = zel_download_task_create(&wanted, id);
  if (result == 0) worker_.post([this, task = std::string(id)] { follow_download(task); });
  return result;
}

// -1 has two causes, which a second question tells apart.
const char* why_query_failed(int result) {
  if (result == ZEL_DOWNLOAD_NOT_PERMITTED) return "ability 1 (download) is missing";
  if (zel_download_task_getnum() >= 0) return "the daemon does not know the task";
  return "the daemon gives no answer";
}

// Looks once, and again later, after what else there is to do.
void Weather::follow_download(const std::string& id) {
  task_info task{};
  if (const int result = zel_download_task_query(id.c_str(), &task); result != 0) {
    std::printf("forecast.bin: %s\n", why_query_failed(result));
  } else if (task.status == ZEL_TASK_COMPLETE) {
    std::printf("forecast.bin is in %s\n", folder_.c_str());
  } else if (task.status < ZEL_TASK_ERROR) {
    std::this_thread::sleep_for(kBetweenLooks);
    worker_.post([this, id] { follow_download(id); });
  } else {
    std::printf("forecast.bin: did not come, error %d\n", task.error_code);
  }
}

Weather* weather = nullptr;  // the library's callbacks have no argument of ours

int answer_message(const char* message, uint32_t length, char* answer, uint32_t answer_size) noexcept {
  const std::string text = weather->answer(std::string(message, length));
  std::snprintf(answer, answer_size, "%s", text.c_str());
  return 0;
}

void hear_event(int32_t subevent, const char*) noexcept {
  weather->hear(subevent);
}

bool works(const char* otherwise, int result) {
  if (result != 0)
    std::fprintf(stderr, "weather: %s (%d); the library's lines above tell more\n", otherwise, result);
  return result == 0;
}

}  // namespace

int main(int argc, char** argv) {
  char appid[PERM_APPID_SIZE];
  if (begin_plugin("weather", appid) != 0) return 1;
  if (argc != 2) {
    std::fprintf(stderr, "usage: weather FOLDER\n");
    return 2;
  }
  static Weather the_weather(argv[1]);
  weather = &the_weather;
  if (!works("no WAN events", zel_event_subscribe(ZEL_EVENT_WAN, hear_event)) ||
      !works("no service", zel_service_init()) ||
      !works("no cloud messages", zel_cloud_msg_handler_register(answer_message)))
    return 1;
  std::printf("serving %s\n", zel_object_name);
  while (true) pause();
}

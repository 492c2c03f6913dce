#include "json/JSONDocuments.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <utility>

namespace bench {
namespace {

// splitmix64, so that no standard library decides the bytes.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : state_(seed) {}
    std::uint64_t Next() {
        std::uint64_t z = (state_ += 0x9e3779b97f4a7c15);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }
    std::uint64_t Below(std::uint64_t limit) { return Next() % limit; }
    // From 0 up to 1, without it.
    double Unit() { return static_cast<double>(Next() >> 11) * 0x1p-53; }
    template <class T, std::size_t kCount>
    const T& Pick(const T (&choices)[kCount]) {
        return choices[Below(kCount)];
    }

private:
    std::uint64_t state_;
};

// Text of one document; knows where commas are due.
class Pen {
public:
    Pen& Open(char bracket) {
        Separate();
        text_ += bracket;
        first_ = true;
        return *this;
    }
    Pen& Close(char bracket) {
        text_ += bracket;
        first_ = false;
        return *this;
    }
    Pen& Key(const char* name) {
        Separate();
        text_ += '"';
        text_ += name;
        text_ += "\":";
        first_ = true;
        return *this;
    }
    Pen& Raw(const std::string& value) {
        Separate();
        text_ += value;
        return *this;
    }
    Pen& Quoted(const std::string& value) { return Raw('"' + value + '"'); }
    Pen& Number(std::uint64_t value) { return Raw(std::to_string(value)); }
    Pen& Real(double value) {
        char digits[32];
        const auto [end, error] = std::to_chars(digits, std::end(digits), value);
        return Raw(std::string(digits, end));
    }
    // All the digits after the point that a converter of projections leaves, needed or not.
    Pen& Degrees(double value) {
        char digits[64];
        const auto [end, error] =
            std::to_chars(digits, std::end(digits), value, std::chars_format::fixed, 15);
        return Raw(std::string(digits, end));
    }
    std::string Take() { return std::move(text_); }

private:
    void Separate() {
        if (!first_) {
            text_ += ',';
        }
        first_ = false;
    }

    std::string text_;
    bool first_ = true;
};

constexpr const char* kWords[] = {"the",
                                  "render",
                                  "of",
                                  "a",
                                  "frame",
                                  "and",
                                  "light",
                                  "in",
                                  "shadow",
                                  "over",
                                  "engine",
                                  "two",
                                  "cylinders",
                                  "turning",
                                  "soft",
                                  "today",
                                  "@maker",
                                  "#scene",
                                  "für",
                                  "Straße",
                                  "été",
                                  "naïve",
                                  "сцена",
                                  "свет",
                                  "光",
                                  "こんにちは",
                                  "描画",
                                  "影と光",
                                  "エンジン",
                                  "今日は",
                                  "🙂",
                                  "🎉",
                                  R"(\"quoted\")",
                                  R"(\n)",
                                  R"(https:\/\/t.example\/x1Y2z3)",
                                  R"(\u00e9tude)",
                                  R"(tab\t)"};

std::string Sentence(Dice& dice, std::uint64_t words) {
    std::string text;
    for (std::uint64_t i = 0; i < words; ++i) {
        text += i != 0 ? " " : "";
        text += dice.Pick(kWords);
    }
    return text;
}

std::string Handle(Dice& dice) {
    std::string name;
    for (std::uint64_t i = 5 + dice.Below(10); i != 0; --i) {
        name += static_cast<char>('a' + dice.Below(26));
    }
    return name;
}

void WriteAuthor(Pen& pen, Dice& dice) {
    const std::uint64_t id = dice.Below(3'000'000'000);
    pen.Key("user").Open('{');
    pen.Key("id").Number(id).Key("id_str").Quoted(std::to_string(id));
    pen.Key("name").Quoted(Sentence(dice, 2)).Key("screen_name").Quoted(Handle(dice));
    pen.Key("location").Quoted(dice.Pick(kWords));
    pen.Key("description").Quoted(Sentence(dice, 4 + dice.Below(12)));
    pen.Key("url").Raw("null").Key("protected").Raw("false");
    pen.Key("followers_count").Number(dice.Below(5000));
    pen.Key("friends_count").Number(dice.Below(2000));
    pen.Key("created_at").Quoted("Sun Aug 31 00:29:15 +0000 2014");
    pen.Key("utc_offset").Raw(dice.Below(2) != 0 ? "32400" : "null").Key("lang").Quoted("ja");
    pen.Key("profile_background_color").Quoted("C0DEED").Key("default_profile").Raw("true");
    pen.Key("profile_image_url")
        .Quoted(R"(http:\/\/img.example\/profile_images\/)" + std::to_string(dice.Next()) +
                R"(\/normal.jpeg)");
    pen.Close('}');
}

void WriteMentions(Pen& pen, Dice& dice) {
    pen.Key("entities").Open('{').Key("hashtags").Open('[');
    for (std::uint64_t i = dice.Below(3); i != 0; --i) {
        const std::uint64_t start = dice.Below(100);
        pen.Open('{').Key("text").Quoted(dice.Pick(kWords));
        pen.Key("indices").Open('[').Number(start).Number(start + 7).Close(']').Close('}');
    }
    pen.Close(']').Key("symbols").Open('[').Close(']').Key("urls").Open('[').Close(']');
    pen.Close('}');
}

std::string Feed() {
    Dice dice(1);
    Pen pen;
    pen.Open('{').Key("statuses").Open('[');
    for (int i = 0; i < 600; ++i) {
        const std::uint64_t id = 505'874'924'095'815'681 + dice.Below(1'000'000'000);
        pen.Open('{').Key("created_at").Quoted("Sun Aug 31 00:29:15 +0000 2014");
        pen.Key("id").Number(id).Key("id_str").Quoted(std::to_string(id));
        pen.Key("text").Quoted(Sentence(dice, 8 + dice.Below(16)));
        pen.Key("source").Quoted(
            R"(<a href=\"http:\/\/app.example\/download\" rel=\"nofollow\">Client<\/a>)");
        pen.Key("truncated").Raw("false").Key("in_reply_to_status_id").Raw("null");
        WriteAuthor(pen, dice);
        pen.Key("geo").Raw("null").Key("place").Raw("null");
        pen.Key("retweet_count").Number(dice.Below(300));
        WriteMentions(pen, dice);
        pen.Key("favorited").Raw("false").Key("lang").Quoted("ja").Close('}');
    }
    pen.Close(']').Key("count").Number(600).Close('}');
    return pen.Take();
}

void WriteEvent(Pen& pen, Dice& dice, std::uint64_t id) {
    pen.Open('{').Key("eventId").Number(id).Key("id").Number(339'420'000 + id);
    pen.Key("logo").Raw("null").Key("name").Raw("null").Key("prices").Open('[');
    for (std::uint64_t i = 1 + dice.Below(5); i != 0; --i) {
        pen.Open('{').Key("amount").Number(10250 + 500 * dice.Below(400));
        pen.Key("audienceSubCategoryId").Number(337'100'890);
        pen.Key("seatCategoryId").Number(338'937'235 + dice.Below(100)).Close('}');
    }
    pen.Close(']').Key("seatCategories").Open('[');
    for (std::uint64_t i = 1 + dice.Below(4); i != 0; --i) {
        pen.Open('{').Key("areas").Open('[');
        for (std::uint64_t area = 1 + dice.Below(8); area != 0; --area) {
            pen.Open('{').Key("areaId").Number(205'705'993 + dice.Below(1000));
            pen.Key("blockIds").Open('[').Close(']').Close('}');
        }
        pen.Close(']').Key("seatCategoryId").Number(338'937'235 + dice.Below(100)).Close('}');
    }
    pen.Close(']').Key("start").Number(1'372'701'600'000 + 1000 * dice.Below(100'000'000));
    pen.Key("subtitleId").Raw("null").Key("venueCode").Quoted("PLEYEL_PLEYEL").Close('}');
}

std::string Catalog() {
    Dice dice(2);
    Pen pen;
    pen.Open('{').Key("areaNames").Open('{');
    for (std::uint64_t i = 0; i < 200; ++i) {
        pen.Key(std::to_string(205'705'993 + i * 7).c_str()).Quoted(Sentence(dice, 2));
    }
    pen.Close('}').Key("performances").Open('[');
    for (std::uint64_t i = 0; i < 2000; ++i) {
        WriteEvent(pen, dice, 138'586'341 + i);
    }
    pen.Close(']').Close('}');
    return pen.Take();
}

// To six decimals, as surveys and exporters give coordinates.
double Rounded(double value) {
    return std::round(value * 1e6) / 1e6;
}

std::string Map() {
    Dice dice(3);
    Pen pen;
    pen.Open('{').Key("type").Quoted("FeatureCollection").Key("features").Open('[').Open('{');
    pen.Key("type").Quoted("Feature").Key("geometry").Open('{');
    pen.Key("type").Quoted("Polygon").Key("coordinates").Open('[');
    for (int ring = 0; ring < 480; ++ring) {
        pen.Open('[');
        double longitude = -140.0 + 80.0 * dice.Unit();
        double latitude = 42.0 + 40.0 * dice.Unit();
        for (std::uint64_t point = 20 + dice.Below(180); point != 0; --point) {
            longitude += (dice.Unit() - 0.5) * 0.1;
            latitude += (dice.Unit() - 0.5) * 0.1;
            pen.Open('[').Degrees(Rounded(longitude)).Degrees(Rounded(latitude)).Close(']');
        }
        pen.Close(']');
    }
    pen.Close(']').Close('}').Close('}').Close(']').Close('}');
    return pen.Take();
}

std::string Settings() {
    return R"({
    "window": {
        "title": "Scene viewer",
        "width": 1920,
        "height": 1080,
        "fullscreen": false,
        "vsync": true
    },
    "camera": {
        "position": [0.0, 1.75, -6.5],
        "target": [0, 1, 0],
        "fieldOfView": 60.0,
        "near": 0.05,
        "far": 2000
    },
    "renderer": {
        "backend": "vulkan",
        "samples": 4,
        "shadowMapSize": 2048,
        "anisotropy": 16,
        "exposure": 1.25,
        "gamma": 2.2,
        "features": ["ssao", "bloom", "fog"]
    },
    "paths": {
        "models": "C:\\scenes\\models",
        "cache": "/var/cache/viewer",
        "log": null
    },
    "keys": {
        "forward": "W",
        "back": "S",
        "left": "A",
        "right": "D",
        "screenshot": "F12"
    },
    "recent": [
        "engine.glb",
        "città.gltf",
        "spider.obj"
    ],
    "language": "fr-FR",
    "telemetry": false,
    "build": 20240117
}
)";
}

void WriteRow(Pen& pen, std::initializer_list<double> values) {
    pen.Open('[');
    for (const double value : values) {
        pen.Real(value);
    }
    pen.Close(']');
}

void WriteNodes(Pen& pen, Dice& dice) {
    pen.Key("nodes").Open('[');
    for (std::uint64_t i = 0; i < 500; ++i) {
        const double angle = dice.Unit();
        pen.Open('{').Key("mesh").Number(i % 16).Key("name").Quoted("node" + std::to_string(i));
        pen.Key("rotation");
        WriteRow(pen, {0, Rounded(std::sin(angle)), 0, Rounded(std::cos(angle))});
        pen.Key("translation");
        WriteRow(pen, {Rounded(dice.Unit() * 100), 0, Rounded(dice.Unit() * 100)});
        pen.Key("scale");
        WriteRow(pen, {1, 1, 1});
        pen.Close('}');
    }
    pen.Close(']');
}

void WriteMesh(Pen& pen, Dice& dice, std::uint64_t vertices) {
    pen.Open('{').Key("positions").Open('[');
    for (std::uint64_t i = 0; i < vertices; ++i) {
        WriteRow(pen, {Rounded(dice.Unit() * 2 - 1), Rounded(dice.Unit() * 2 - 1),
                       Rounded(dice.Unit() * 2 - 1)});
    }
    pen.Close(']').Key("texcoords").Open('[');
    for (std::uint64_t i = 0; i < vertices; ++i) {
        WriteRow(pen, {Rounded(dice.Unit()), Rounded(dice.Unit())});
    }
    pen.Close(']').Key("faces").Open('[');
    for (std::uint64_t i = 0; i < 2 * vertices; ++i) {
        pen.Open('[').Number(dice.Below(vertices)).Number(dice.Below(vertices));
        pen.Number(dice.Below(vertices)).Close(']');
    }
    pen.Close(']').Key("material").Number(dice.Below(4)).Close('}');
}

std::string Scene() {
    Dice dice(4);
    Pen pen;
    pen.Open('{').Key("asset").Open('{').Key("version").Quoted("2.0").Close('}');
    WriteNodes(pen, dice);
    pen.Key("meshes").Open('[');
    for (int i = 0; i < 16; ++i) {
        WriteMesh(pen, dice, 1000 + dice.Below(1000));
    }
    pen.Close(']').Close('}');
    return pen.Take();
}

}  // namespace

std::span<const JSONDocument> JSONDocuments() {
    static const JSONDocument s_documents[] = {{"feed", Feed()},
                                               {"catalog", Catalog()},
                                               {"map", Map()},
                                               {"settings", Settings()},
                                               {"scene", Scene()}};
    return s_documents;
}

}  // namespace bench

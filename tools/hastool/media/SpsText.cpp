#include "SpsText.h"

#include "HexText.h"

#include <utility>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using Json = nlohmann::ordered_json;

/// The elements that the set carries, by their standard names.
std::vector<std::pair<const char*, unsigned int>>
elements(const hascommon::H264SequenceSetParse& sps) {
    std::vector<std::pair<const char*, unsigned int>> list = {
        {"seq_parameter_set_id", sps.seq_parameter_set_id},
        {"log2_max_frame_num_minus4", sps.log2_max_frame_num_minus4},
        {"pic_order_cnt_type", sps.pic_order_cnt_type},
    };
    if (sps.pic_order_cnt_type == 0)
        list.emplace_back("log2_max_pic_order_cnt_lsb_minus4",
                          sps.log2_max_pic_order_cnt_lsb_minus4);
    if (sps.pic_order_cnt_type == 1)
        list.emplace_back("delta_pic_order_always_zero_flag", sps.delta_pic_order_always_zero_flag);
    list.emplace_back("pic_width_in_mbs_minus1", sps.pic_width_in_mbs_minus1);
    list.emplace_back("pic_height_in_map_units_minus1", sps.pic_height_in_map_units_minus1);
    list.emplace_back("frame_mbs_only_flag", sps.frame_mbs_only_flag);
    list.emplace_back("frame_cropping_flag", sps.frame_cropping_flag);
    if (sps.frame_cropping_flag != 0) {
        list.emplace_back("frame_crop_left_offset", sps.frame_crop_left_offset);
        list.emplace_back("frame_crop_right_offset", sps.frame_crop_right_offset);
        list.emplace_back("frame_crop_top_offset", sps.frame_crop_top_offset);
        list.emplace_back("frame_crop_bottom_offset", sps.frame_crop_bottom_offset);
    }
    return list;
}

std::string sizeText(const SpsInfo& info) {
    if (!info.isSupported)
        return "not known: sets of this profile cannot be read";
    if (!info.fields)
        return "not known: the set is cut";
    return info.resolution ? info.resolution->text() : "not known: narrower than two macroblocks";
}

std::string line(const std::string& name, const std::string& value) {
    constexpr size_t kColumn = 36;
    return "  " + name + std::string(kColumn - name.size(), ' ') + value + "\n";
}

std::string toText(const SpsInfo& info) {
    std::string text = "SPS, " + std::to_string(info.unit.size()) + " bytes" +
                       (info.pid < 0 ? "" : ", PID " + pidText(info.pid)) + "\n";
    text += line("resolution", sizeText(info));
    text += line("profile_idc", std::to_string(info.profile));
    text += line("constraint_flags", hexNumber(info.constraints, 2));
    text += line("level_idc", std::to_string(info.level));
    if (!info.fields)
        return text;
    for (const auto& [name, value] : elements(*info.fields))
        text += line(name, std::to_string(value));
    return text;
}

Json toJson(const SpsInfo& info) {
    Json json = {
        {"sps_hex", hexText(info.unit)},
        {"pid", info.pid < 0 ? Json() : Json(info.pid)},
        {"profile_idc", info.profile},
        {"constraint_flags", info.constraints},
        {"level_idc", info.level},
        {"supported", info.isSupported},
        {"parsed", info.fields.has_value()},
        {"width", info.resolution ? Json(info.resolution->width) : Json()},
        {"height", info.resolution ? Json(info.resolution->height) : Json()},
    };
    if (info.fields) {
        for (const auto& [name, value] : elements(*info.fields))
            json[name] = value;
    }
    return json;
}

} // namespace

std::string toText(const std::vector<SpsInfo>& sets) {
    std::string text;
    for (const SpsInfo& info : sets)
        text += toText(info);
    return text;
}

Json toJson(const std::vector<SpsInfo>& sets) {
    Json list = Json::array();
    for (const SpsInfo& info : sets)
        list.push_back(toJson(info));
    return list;
}

} // namespace hastool
